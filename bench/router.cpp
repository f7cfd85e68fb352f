// zel_get_wan_status from the call to the filled record, beside a bare transfer of the same answer and its parse.
// The second row's peer also makes the system calls of the permission check. They cost more here than in a row of
// their own: an attach between two transfers finds nothing of the kernel's left in the caches.
#include <cjson/cJSON.h>
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bare_query.h"
#include "canned_server.h"
#include "pairs.h"

namespace {

constexpr uid_t kReaderUid = 10003;  // See packages.json.
constexpr uint16_t kManagementPort = 14000;
constexpr int kTimeoutSeconds = 10;
constexpr char kAddress[] = "203.0.113.24";
constexpr char kAnswer[] =
    R"({"ResponseHeader":{"ErrorCode":0,"ErrorMsg":""},"WAN_NET":1,"WAN_LINE":1,"WAN_IP":"203.0.113.24",)"
    R"("WAN_TYPE":0,"WAN_Type":0,"WAN_PPPoE_Name":"user@isp.example","WAN_PPPoE_PWD":"secret",)"
    R"("WAN_PPPoE_DNS1":"192.0.2.53","WAN_PPPoE_DNS2":"198.51.100.53"})";

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s did not give the router's answer\n", what);
  std::exit(1);
}

void ours() {
  zel_wan_status status;
  if (zel_get_wan_status(&status) != 0 || std::strcmp(status.WAN_IP, kAddress) != 0)
    fail("zel_get_wan_status");
}

void bare(const char* url) {
  bench::Text body;
  if (!bench::bare_transfer(url, nullptr, kTimeoutSeconds, body)) fail("the bare transfer");
  cJSON* const root = cJSON_Parse(body.bytes);
  const char* const address = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(root, "WAN_IP"));
  if (address == nullptr || std::strcmp(address, kAddress) != 0) fail("the bare parse");
  cJSON_Delete(root);
}

}  // namespace

int main(int argc, char** argv) {
  bench::stay_on_one_processor();
  const std::string url =
      bench::CannedServer({kAnswer}, kManagementPort).url() + "/api?method=query_router_wan_status";
  if (setuid(kReaderUid) != 0) fail("setuid");
  pairs::compare("zel_get_wan_status / transfer and parse", ours, [url] { bare(url.c_str()); });
  pairs::compare("zel_get_wan_status / with bare permission calls", ours, [url] {
    bare_query::ask([](const perm_table&) {});
    bare(url.c_str());
  });
  return pairs::run(argc, argv);
}
