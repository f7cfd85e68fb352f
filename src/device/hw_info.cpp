// The names of firmware and hardware, asked of the router's management interface.
#include <zel/device.h>

#include <cstdio>
#include <cstring>

#include "base/json.h"
#include "router/client.h"

namespace {

const char* get_text(const cJSON* info, const char* key, zel::Reporter reporter) {
  const cJSON* const item = zel::get_cjson_item(info, key, zel::kJsonString, reporter);
  return item != nullptr ? item->valuestring : nullptr;
}

int hand_out(const cJSON* root, zel::Reporter reporter, char** firmware, char** hardware) {
  const cJSON* const info = zel::get_cjson_item(root, "Info", zel::kJsonObject, reporter);
  if (info == nullptr) return -1;
  const char* const version = get_text(info, "FirmwareVersion", reporter);
  if (version == nullptr) return -1;
  *firmware = strdup(version);
  if (*firmware == nullptr) return -1;
  const char* const company = get_text(info, "Company", reporter);
  if (company == nullptr) return -1;
  const char* const model = get_text(info, "HardwareVersion", reporter);
  if (model == nullptr) return -1;
  char name[64];
  snprintf(name, sizeof name, "%s_%s", company, model);
  *hardware = strdup(name);
  return *hardware != nullptr ? 0 : -1;
}

}  // namespace

int zel_get_hw_info_from_fw(char** firmware, char** hardware) {
  if (firmware == nullptr || hardware == nullptr) return -1;
  *firmware = *hardware = nullptr;
  zel::Exchange exchange(__func__, zel::Exchange::Reports::kLogged);
  if (const int failure = exchange.run("query_router_info"); failure != 0) return failure;
  return hand_out(exchange.root(), exchange.reporter(), firmware, hardware);
}
