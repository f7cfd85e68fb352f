// The device's identity, as the router's daemon keeps it in its information file.
#include <fcntl.h>
#include <zel/device.h>

#include <cstring>

#include "base/json.h"
#include "base/whole_file.h"
#include "router/copy.h"
#include "router/daemon_file.h"

// Plug-ins are compiled against it.
static_assert(sizeof(zel_device_info) == 324);

namespace {

bool fill_text(const cJSON* root, const char* key, char (&field)[64]) {
  const cJSON* const text = zel::json_member(root, key, zel::kJsonString);
  if (text != nullptr) zel::fill_field(field, sizeof field, text->valuestring);
  return text != nullptr;
}

bool fill_number(const cJSON* root, const char* key, int32_t* field) {
  const cJSON* const number = zel::json_member(root, key, zel::kJsonNumber);
  if (number != nullptr) *field = number->valueint;
  return number != nullptr;
}

}  // namespace

int zel_get_device_info(zel_device_info* info) {
  if (info == nullptr) return -1;
  memset(info, 0, sizeof *info);
  const zel::WholeFile file = zel::read_whole_file(zel::kDaemonFile, O_RDWR);
  const zel::JsonTree root(file.text ? cJSON_Parse(file.text.get()) : nullptr);
  const bool whole = fill_text(root.get(), "device_id", info->device_id) &&
                     fill_text(root.get(), "daemon_version", info->daemon_version) &&
                     fill_text(root.get(), "deviceName", info->deviceName) &&
                     fill_number(root.get(), "zelSdkVersion", &info->zelSdkVersion) &&
                     fill_text(root.get(), "hw_name", info->hw_name) &&
                     fill_text(root.get(), "fw_version", info->fw_version);
  return whole ? 0 : -1;
}
