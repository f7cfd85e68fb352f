// zelctl router: what the router says of itself, and its DNS servers.
#include <arpa/inet.h>
#include <zel/router.h>

#include <cstring>

#include "caller.h"
#include "capture.h"
#include "families.h"
#include "output.h"
#include "patience.h"
#include "perm_table.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kMostEntries = 256;
constexpr const char* kAdvice = "Does the router answer? zelctl doctor. Its own words: -v";

// For the calls behind an ability, which the caller is known to hold.
void require_answer(int code, const char* what) {
  if (code > 0) fail_with(code, kFailed, kAdvice, "%s: the router's own error code", what);
  if (code < 0) fail_with(code, kFailed, kAdvice, "%s: the router did not answer as it should", what);
}

int show_text(perm_ability ability, int (*get)(char*, int), const char* key) {
  require_ability(ability);
  const Limit limit = router_patience();
  char text[256] = "";
  require_answer(get(text, sizeof text), key);
  Result result;
  add_text(result.json(), key, text);
  result.line("%s", text);
  result.show();
  return kDone;
}

int name(const Call&) {
  return show_text(ability_system, zel_get_device_name, "name");
}

int device_id(const Call&) {
  return show_text(ability_system, zel_get_device_id, "id");
}

int speed(const Call&) {
  require_ability(ability_wan);
  const Limit limit = router_patience();
  zel_wan_speed rates;
  require_answer(zel_get_wan_speed(&rates), "speed");
  const struct {
    const char* direction;
    int32_t now, average, peak;
  } rows[] = {{"download", rates.InstanDownloadRate, rates.AverageDownloadRate, rates.PeakDownloadRate},
              {"upload", rates.InstantUploadRate, rates.AverageUploadRate, rates.PeakUploadRate}};
  Result result;
  result.row("\tNOW\tAVERAGE\tPEAK");
  for (const auto& row : rows) {
    cJSON* const json = add_object(result.json(), row.direction);
    add_number(json, "now", row.now);
    add_number(json, "average", row.average);
    add_number(json, "peak", row.peak);
    result.row("%s\t%d\t%d\t%d", row.direction, row.now, row.average, row.peak);
  }
  result.line("in the router's own unit, which it does not tell");
  result.show();
  return kDone;
}

int status(const Call&) {
  require_ability(ability_wan);
  const Limit limit = router_patience();
  zel_wan_status wan;
  require_answer(zel_get_wan_status(&wan), "status");
  Result result;
  result.flag("internet", wan.WAN_NET == 1, "reachable", "out of reach");
  result.flag("cable", wan.WAN_LINE == 1, "linked", "out");
  result.field("address", wan.WAN_IP);
  result.number("type", wan.WAN_TYPE);
  result.show();
  return kDone;
}

// Reads a list. A positive result may be a number of entries that found no room, or the router's error code: with one
// nothing was filled.
template <class Record>
struct List {
  std::vector<Record> records = std::vector<Record>(kMostEntries);
  int count = kMostEntries;
  int left_out = 0;

  List(int (*get)(Record*, int*), const char* what) {
    const Limit limit = router_patience();
    const int code = get(records.data(), &count);
    static const Record empty{};
    const bool filled = std::memcmp(&records.back(), &empty, sizeof empty) != 0;
    if (code > 0 && filled)
      left_out = code;
    else
      require_answer(code, what);
  }
};

void show_list(Result* result, int left_out) {
  add_number(result->json(), "left_out", left_out);
  if (left_out > 0) result->line("%d more found no room", left_out);
  result->show();
}

int wifi(const Call&) {
  require_ability(ability_wifi);
  const List list(zel_get_wifi_info, "wifi");
  Result result;
  cJSON* const array = add_array(result.json(), "networks");
  result.row("BAND\tSTATE\tNAME");
  for (int i = 0; i < list.count; ++i) {
    const zel_wifi_info& network = list.records[static_cast<size_t>(i)];
    const char* const band = network.WIFI_WirelessFrequency == 0 ? "2.4 GHz" : "5 GHz";
    const bool on = network.WIFI_Status == 1;
    cJSON* const row = append_object(array);
    add_field(row, "name", network.WIFI_SSID);
    add_text(row, "band", band);
    add_bool(row, "on", on);
    result.row("%s\t%s\t%.128s", band, on ? "on" : "off", network.WIFI_SSID);
  }
  show_list(&result, list.left_out);
  return kDone;
}

int disks(const Call&) {
  require_ability(ability_disk);
  const List list(zel_get_partition_info, "disks");
  Result result;
  cJSON* const array = add_array(result.json(), "partitions");
  if (list.count == 0)
    result.line("no disk");
  else
    result.row("PARTITION\tUSED\tTOTAL\tUUID");
  for (int i = 0; i < list.count; ++i) {
    const zel_partition_info& partition = list.records[static_cast<size_t>(i)];
    cJSON* const row = append_object(array);
    add_field(row, "name", partition.Partition);
    add_number(row, "used", partition.Used);
    add_number(row, "total", partition.Total);
    add_field(row, "uuid", partition.UUID);
    result.row("%.64s\t%d\t%d\t%.40s", partition.Partition, partition.Used, partition.Total, partition.UUID);
  }
  if (list.count != 0) result.line("in the router's own unit, which it does not tell");
  show_list(&result, list.left_out);
  return kDone;
}

// ---- DNS --------------------------------------------------------------------------------------------------

[[noreturn]] void fail_dns(int code, const char* what) {
  static constexpr const char* kMeanings[] = {
      "the request found no answer", "no usable answer, or one that reports an error",
      "the WAN connection is neither PPPoE nor static, so it has no DNS servers of its own",
      "the router reports no PPPoE account name or no static address to send back"};
  const bool known = code < 0 && code >= -4;
  fail_with(code, kFailed, kAdvice, "%s: %s", what,
            known ? kMeanings[-code - 1] : "the router's own error code");
}

// `what` came to nothing if they cannot be had.
int show_dns(const char* what, const char* advice = kSilenceAdvice) {
  char first[ZEL_DNS_SIZE];
  char second[ZEL_DNS_SIZE];
  const Limit limit = router_patience(advice);
  if (const int code = zel_get_router_dns(first, second); code != 0) fail_dns(code, what);
  Result result;
  const struct { const char *key, *address; } rows[] = {{"first", first}, {"second", second}};
  for (const auto& row : rows) {
    add_text(result.json(), row.key, row.address);
    result.row("%s\t%s", row.key, *row.address != '\0' ? row.address : "none");
  }
  result.show();
  return kDone;
}

int get_dns(const Call&) {
  return show_dns("dns");
}

int show_changed_dns() {
  return show_dns("it was done, but the servers cannot be read back",
                  "It was done. To see: zelctl router dns get");
}

Limit change_patience() {
  return router_patience("It may have been done: zelctl router dns get");
}

int set_dns(const Call& call) {
  for (const char* text : call.arguments) {
    in_addr address;
    if (inet_pton(AF_INET, text, &address) != 1)
      fail(kUsage, "Give the servers as addresses: 192.0.2.53", "'%s' is no IPv4 address", text);
  }
  {
    const char* const second = call.argument(1);
    const Limit limit = change_patience();
    if (const int code = zel_set_router_dns(call.argument(0), second != nullptr ? second : ""); code != 0)
      fail_dns(code, "the servers were not set");
  }
  return show_changed_dns();
}

int reset_dns(const Call&) {
  {
    const Limit limit = change_patience();
    if (const int code = zel_reset_router_dns(); code != 0) fail_dns(code, "the servers were not reset");
  }
  return show_changed_dns();
}

int capture(const Call& call) {
  Result result;
  cJSON* const left_out = add_array(result.json(), "left_out");
  JsonTree state = capture_state(call.has("with-secrets"), left_out);
  if (!manner().json) {
    print(format("%s\n", pretty(state.get()).c_str()));
  } else {
    cJSON_AddItemToObject(result.json(), "state", state.release());
    result.show();
  }
  return kDone;
}

constexpr Option kSecrets[] = {
    {"with-secrets", nullptr,
     "With passwords, keys, signatures and serial numbers as they are, instead of \"masked\""}};

constexpr Command kCommands[] = {
    {"router name", "", "The device's name", "zelctl router name", name},
    {"router id", "", "The device's identity", "zelctl router id", device_id},
    {"router speed", "", "Rates of the WAN link", "zelctl router speed", speed},
    {"router status", "", "State of the WAN link. The type is the router's number", "zelctl router status",
     status},
    {"router wifi", "", "Wi-Fi networks", "zelctl router wifi", wifi},
    {"router disks", "", "Partitions of disks", "zelctl router disks", disks},
    {"router dns get", "", "The DNS servers of the WAN connection", "zelctl router dns get", get_dns},
    {"router dns set", "A [B]",
     "Set one or two DNS servers by hand. With A alone the second is none. With -v the PPPoE password is "
     "among the library's log lines",
     "zelctl router dns set 9.9.9.9 149.112.112.112", set_dns},
    {"router dns reset", "", "Take the DNS servers set by hand away", "zelctl router dns reset", reset_dns},
    {"router capture", "",
     "Print the router's state as a file for a router box, with queries alone: nothing is changed. "
     "routerbox --router FILE then plays this router. With --json it is the member \"state\"",
     "zelctl router capture >/tmp/state.json", capture, kSecrets},
};

}  // namespace

constinit const Family kRouterFamily = {"router", "What the router says of itself, and its DNS servers",
                                        kCommands};

}  // namespace zelctl
