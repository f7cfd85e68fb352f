#include <libubus.h>
#include <cstdio>

namespace {

constexpr const char* kTexts[] = {
    "Success",
    "Invalid command",
    "Invalid argument",
    "Method not found",
    "Not found",
    "No response",
    "Permission denied",
    "Request timed out",
    "Operation not supported",
    "Unknown error",
    "Connection failed",
    "Out of memory",
    "Parsing message data failed",
    "System error",
};
static_assert(ARRAY_SIZE(kTexts) == __UBUS_STATUS_LAST);

}  // namespace

extern "C" const char* ubus_strerror(int error) {
  if (error >= 0 && error < __UBUS_STATUS_LAST) return kTexts[error];
  // Per thread, so that contexts in different threads stay independent.
  thread_local char text[sizeof("Unknown error: -2147483648")];
  snprintf(text, sizeof(text), "Unknown error: %d", error);
  return text;
}
