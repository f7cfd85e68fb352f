#include "base/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "base/libc_section.h"
#include "base/plain_format.h"
#include "base/uncancelled.h"

int32_t zel_debug = 1;

namespace {

constexpr std::size_t kTextSize = 2048;

// Syslog takes the text as its format, as plug-ins have come to expect of "%%" and "%m". Any other conversion
// would read arguments that are not there, and the text may be another plug-in's.
void to_syslog(int level, const char* text) {
  char format[2 * kTextSize];
  zel::plain_format(text, format, sizeof format);
  const zel::LibcSection section;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  syslog(level, format);
#pragma GCC diagnostic pop
}

}  // namespace

void zel_log(int level, const char* format, ...) {
  const int callers_errno = errno;
  const zel::Uncancelled uncancelled;  // The C library would be left with its socket half open.
  char text[kTextSize] = {};
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text - 1, format, arguments);
  va_end(arguments);

  const tm local = zel::local_now();
  fprintf(stderr, "[%02d-%02d %2d:%2d:%2d] %s\n", local.tm_mon + 1, local.tm_mday, local.tm_hour,
          local.tm_min, local.tm_sec, text);

  errno = callers_errno;
  to_syslog(level, text);
  errno = callers_errno;
}
