// What the library does through two of its own calls; the linker puts these in front.
#include <zel/http.h>
#include <zel/service.h>

#include <cstdarg>

#include "download/daemon.h"

Seen seen;

extern "C" {

decltype(HttpPostBuffer) __real_HttpPostBuffer;

int __wrap_HttpPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                          int max_retry) {
  seen.patience = {timeout, max_retry};
  return __real_HttpPostBuffer(result, url, buffer, length, timeout, max_retry);
}

ZEL_PRINTF(2, 3) void __wrap_zel_log(int level, const char* format, ...) {
  char text[2048];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::string message = text;
  if (message.starts_with("[ZEL] ")) message.erase(0, 6);
  message = message.ends_with('\n') ? message.substr(0, message.size() - 1) : message + "(no line end)";
  const size_t colon = message.find(':'), blank = message.find(' ');
  if (colon < blank && isdigit(message[colon + 1]) != 0) message.replace(colon + 1, blank - colon - 1, "#");
  seen.log += (level == 3 ? "|" : "|" + std::to_string(level) + " ") + message;
}

}  // extern "C"
