// The device's identity, which the router's daemon keeps in a file.
#include <fcntl.h>
#include <zel/router.h>

#include <cstdio>
#include <utility>

#include "base/handles.h"
#include "base/json.h"
#include "base/whole_file.h"
#include "router/client.h"
#include "router/copy.h"
#include "router/daemon_file.h"

namespace {

constexpr size_t kMostText = 4095;

// Returns 0, -1 if there is no file to read, -2 if it is too large.
int read_daemon_file(zel::Memory<char>* text) {
  zel::WholeFile file = zel::read_whole_file(zel::kDaemonFile, O_RDONLY, kMostText);
  if (file.fault == zel::FileFault::kTooLong) return -2;
  if (!file.text) return -1;
  *text = std::move(file.text);
  return 0;
}

}  // namespace

int vendor_get_device_id(char* device_id, int length) {
  if (device_id == nullptr) return -1;
  zel::Memory<char> text;
  if (const int failure = read_daemon_file(&text); failure != 0) {
    printf("[%s]get device info: %d\n", __func__, failure);
    return failure;
  }
  printf("[%s]buf: %s\n", __func__, text.get());
  const zel::JsonTree info(cJSON_Parse(text.get()));
  if (!info) {
    printf("[%s]invalid json: %s\n", __func__, text.get());
    return -1;
  }
  const cJSON* const id = zel::get_cjson_item(info.get(), "device_id", zel::kJsonString);
  if (id == nullptr) return -1;
  zel::fill_buffer(device_id, length, id->valuestring);
  return 0;
}
