// The device's identity, which the router's daemon keeps in a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <zel/router.h>

#include "base/handles.h"
#include "router/client.h"
#include "router/copy.h"
#include "router/daemon_file.h"

namespace {

constexpr size_t kTextSize = 4096;

// Returns 0, -1 if the file is missing or cannot be opened, -2 if it is too large.
int read_daemon_file(char (&text)[kTextSize]) {
  struct stat status;
  if (stat(zel::kDaemonFile, &status) != 0) return -1;
  if (status.st_size >= static_cast<off_t>(kTextSize)) return -2;
  // Opening a FIFO would wait for a writer.
  zel::Descriptor fd(open(zel::kDaemonFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const zel::File file(fd ? fdopen(fd.get(), "r") : nullptr);
  if (!file) return -1;
  fd.release();
  text[fread(text, 1, kTextSize - 1, file.get())] = '\0';
  return 0;
}

}  // namespace

int vendor_get_device_id(char* device_id, int length) {
  if (device_id == nullptr) return -1;
  char text[kTextSize];
  if (const int failure = read_daemon_file(text); failure != 0) {
    printf("[%s]get device info: %d\n", __func__, failure);
    return failure;
  }
  printf("[%s]buf: %s\n", __func__, text);
  const zel::JsonTree info(cJSON_Parse(text));
  if (!info) {
    printf("[%s]invalid json: %s\n", __func__, text);
    return -1;
  }
  const cJSON* const id = zel::get_cjson_item(info.get(), "device_id", zel::kJsonString);
  if (id == nullptr) return -1;
  zel::fill_buffer(device_id, length, id->valuestring);
  return 0;
}
