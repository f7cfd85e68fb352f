#include <cstdarg>
#include <cstdio>

#include "base/log.h"

void zel::log_in_form(int level, const char* tag, const char* function, int line, const char* format, ...) {
  char text[2048];  // zel_log cuts no later.
  const int kept = zel_debug != 0 ? snprintf(text, sizeof text, "%s %s:%d ", tag, function, line)
                                  : snprintf(text, sizeof text, "%s ", tag);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text + kept, sizeof text - static_cast<std::size_t>(kept), format, arguments);
  va_end(arguments);
  zel_log(level, "%s", text);
}
