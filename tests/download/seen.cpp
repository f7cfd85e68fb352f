// What the library does through two of its own calls, which programs may stand before.
#include <dlfcn.h>
#include <zel/http.h>
#include <zel/service.h>

#include <cstdarg>

#include "download/daemon.h"

Seen seen;

int HttpPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                   int max_retry) {
  static const auto own = reinterpret_cast<decltype(&HttpPostBuffer)>(dlsym(RTLD_NEXT, "HttpPostBuffer"));
  seen.patience = {timeout, max_retry};
  return own(result, url, buffer, length, timeout, max_retry);
}

void zel_log(int level, const char* format, ...) {
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
