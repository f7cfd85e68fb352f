#include "capture.h"

#include <zel/device.h>
#include <zel/http.h>
#include <zel/router.h>
#include <zel/util.h>

#include <cstring>

#include "failure.h"
#include "numbers.h"
#include "output.h"
#include "patience.h"
#include "perm_table.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kSeconds = 10;
constexpr int kMostPartitions = 64;

struct Piece {
  const char* method;
  const char* member;  // of the answer and of the state
  const char* inner;   // what of it
};
constexpr Piece kPieces[] = {
    {"query_router_wifi_info", "WIFIStatus", nullptr},
    {"query_wan_transmission_rate", "TransmissionRate", nullptr},
    {"query_router_wan_status", "WAN", nullptr},
    {"query_disk_info", "DiskInfo", "List"},
    {"query_router_info", "Info", nullptr},
};

// What the daemon's script is asked, as the state has it.
constexpr struct {
  int key;
  const char* question;
} kQuestions[] = {{NORVA_CONFIG_SIGN, "getsign"},
                  {NORVA_CONFIG_CLOUDSIGN, "get_cloudsign"},
                  {NORVA_CONFIG_LANMAC, "get_lanmac"},
                  {NORVA_CONFIG_WEBURL_STATE, "weburl query_state"},
                  {NORVA_CONFIG_WEBURL_BLACK, "weburl query_blackurls"}};

constexpr const char* kSecrets[] = {"pwd",    "pass", "key",   "psk",      "secret",
                                    "serial", "sign", "token", "device_id"};

JsonTree ask(const char* method) {
  const Limit limit = router_patience();
  char answer[ZEL_HTTP_RESULT_SIZE] = "";
  const std::string url = format("http://" ZEL_ROUTER_HOST ":14000/api?method=%s", method);
  if (HttpGet(answer, url.c_str(), kSeconds, 1) != 0) return nullptr;
  JsonTree json(cJSON_Parse(answer));
  const cJSON* const header = cJSON_GetObjectItem(json.get(), "ResponseHeader");
  const cJSON* const code = cJSON_GetObjectItem(header, "ErrorCode");
  if (code == nullptr || code->valueint != 0) return nullptr;
  cJSON_DeleteItemFromObject(json.get(), "ResponseHeader");
  return json;
}

// The answer's part that the state has, which leaves the answer.
cJSON* part_of(const Piece& piece, cJSON* answer) {
  // The members of this one stand at the answer's top.
  if (std::strcmp(piece.member, "WAN") == 0) return cJSON_Duplicate(answer, 1);
  cJSON* const part = cJSON_DetachItemFromObject(answer, piece.member);
  if (piece.inner == nullptr || part == nullptr) return part;
  const JsonTree outer(part);
  cJSON* const inner = cJSON_DetachItemFromObject(part, piece.inner);
  return inner != nullptr ? inner : cJSON_CreateArray();  // A router without disks leaves the list out.
}

void leave_out(cJSON* left_out, const char* what, const char* why) {
  append_text(left_out, what);
  note("%s is left out: %s", what, why);
}

void add_queries(cJSON* state, cJSON* left_out) {
  for (const Piece& piece : kPieces) {
    const JsonTree answer = ask(piece.method);
    cJSON* const part = answer ? part_of(piece, answer.get()) : nullptr;
    if (part != nullptr)
      cJSON_AddItemToObject(state, piece.member, part);
    else
      leave_out(left_out, piece.member, "the router did not tell it");
  }
}

// The management interface does not tell them; the library asks blkid.
void add_uuids(cJSON* state) {
  std::vector<zel_partition_info> partitions(kMostPartitions);
  int count = kMostPartitions;
  if (vendor_get_partition_info(partitions.data(), &count) < 0) return;
  cJSON* disk = nullptr;
  cJSON_ArrayForEach(disk, cJSON_GetObjectItem(state, "DiskInfo")) {
    const cJSON* const name = cJSON_GetObjectItem(disk, "Partition");
    for (int i = 0; i < count && is(name, cJSON_String); ++i) {
      const zel_partition_info& partition = partitions[static_cast<size_t>(i)];
      if (text_of(partition.Partition) == name->valuestring && partition.UUID[0] != '\0')
        add_field(disk, "UUID", partition.UUID);
    }
  }
}

void add_daemon(cJSON* state, cJSON* left_out) {
  zel_device_info device;
  if (zel_get_device_info(&device) == 0) {
    cJSON* const info = add_object(state, "DaemonInfo");
    add_field(info, "device_id", device.device_id);
    add_field(info, "daemon_version", device.daemon_version);
    add_field(info, "deviceName", device.deviceName);
    add_number(info, "zelSdkVersion", device.zelSdkVersion);
    add_field(info, "hw_name", device.hw_name);
    add_field(info, "fw_version", device.fw_version);
  } else {
    leave_out(left_out, "DaemonInfo", "zelctl device info tells why");
  }
  cJSON* const shell = add_object(state, "DaemonShell");
  for (const auto& row : kQuestions) {
    std::string answer(65536, '\0');
    if (norva_config_get(row.key, answer.data(), static_cast<int>(answer.size())) == 0)
      add_text(shell, row.question, answer.c_str());
    else
      leave_out(left_out, row.question, "the daemon's script failed");
  }
}

bool is_secret(const char* name) {
  if (name == nullptr) return false;
  for (const char* secret : kSecrets) {
    if (qo_stristr(name, secret) != nullptr) return true;
  }
  const size_t length = std::strlen(name);
  return length >= 2 && qo_strcasecmp(name + length - 2, "sn") == 0;
}

void replace_text(cJSON* item, const char* text) {
  const JsonTree fresh(cJSON_CreateString(text));
  require_memory(fresh.get());
  std::swap(item->valuestring, fresh->valuestring);
}

// All texts and numbers behind a secret's name, as deep as they are.
void mask(cJSON* json, bool secret) {
  cJSON* item = nullptr;
  cJSON_ArrayForEach(item, json) {
    const bool hidden = secret || is_secret(item->string);
    if (hidden && is(item, cJSON_String)) replace_text(item, "masked");
    if (hidden && is(item, cJSON_Number)) clear_number(item);
    mask(item, hidden);
  }
}

}  // namespace

JsonTree capture_state(bool with_secrets, cJSON* left_out) {
  JsonTree state(cJSON_CreateObject());
  require_memory(state.get());
  add_queries(state.get(), left_out);
  if (state->child == nullptr)
    fail(kFailed, "Does it run? zelctl doctor", "the router's management interface gave no answer");
  add_uuids(state.get());
  add_daemon(state.get(), left_out);
  if (!with_secrets) mask(state.get(), false);
  return state;
}

}  // namespace zelctl
