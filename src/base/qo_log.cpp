// The base utilities' logger: a console with a threshold, and a rolling buffer of the more severe lines.
#include <pthread.h>
#include <zel/service.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

#include "base/in_child.h"
#include "base/libc_section.h"
#include "base/uncancelled.h"

int32_t qo_debuglevel = 1;
char errlog_buffer[51200];
int32_t pos = 0;
pthread_mutex_t errlog_mutex = PTHREAD_MUTEX_INITIALIZER;
uint32_t g_dwLogEn = 0;
const char* g_apcModuleName[1] = {"Phishing"};

namespace {

// errlog_mutex is of the interface and so no zel::Mutex; a forked child finds it free like the others.
const zel::InChild free_errlog([](void*) { pthread_mutex_init(&errlog_mutex, nullptr); }, nullptr);

constexpr int kDebugLevel = 4;
constexpr int kLastByte = sizeof errlog_buffer - 1;
constexpr const char* kLetters[] = {"F", "E", "W", "I", "D"};

const char* letter_of(int level) {
  const auto index = static_cast<unsigned int>(level);
  return index < std::size(kLetters) ? kLetters[index] : "?";
}

// Holds errlog_mutex until release(), whose result QO_Log hands to its caller.
class ErrlogSection {
 public:
  ErrlogSection() { pthread_mutex_lock(&errlog_mutex); }
  ~ErrlogSection() {
    if (held_) pthread_mutex_unlock(&errlog_mutex);
  }
  ErrlogSection(const ErrlogSection&) = delete;
  ErrlogSection& operator=(const ErrlogSection&) = delete;
  int release() {
    held_ = false;
    return pthread_mutex_unlock(&errlog_mutex);
  }

 private:
  bool held_ = true;
};

}  // namespace

int QO_Log(int level, const char* format, ...) {
  // The console is what standard error was at the first line, for the life of the process.
  static FILE* const qo_log_stream = stderr;
  const bool to_console = static_cast<unsigned int>(level) <= static_cast<unsigned int>(qo_debuglevel);
  const bool to_buffer = level < kDebugLevel;

  const zel::Uncancelled uncancelled;  // A line is written whole.
  char text[1024] = {};
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text - 1, format, arguments);
  va_end(arguments);
  const tm local = zel::local_now();
  char line[1040] = {};
  const int length = snprintf(line, sizeof line, "[%s-%2d %2d:%2d:%2d] %s\n", letter_of(level), local.tm_mday,
                              local.tm_hour, local.tm_min, local.tm_sec, text);

  if (to_console) fputs(line, qo_log_stream);
  if (!to_buffer) return 0;
  ErrlogSection section;
  add_to_errbuff(errlog_buffer, line, std::min(length, static_cast<int>(sizeof line) - 1));
  return section.release();
}

int32_t* QO_LogSetLevel(unsigned int level) {
  qo_debuglevel = static_cast<int32_t>(level);
  return &qo_debuglevel;
}

void add_to_errbuff(char* buffer, const char* line, int length) {
  if (length <= 0) return;
  if (pos < 0 || pos > kLastByte || kLastByte - pos < length) {
    // Kept: no terminator after a wrap, so what was written before stays readable behind the new line.
    pos = std::min(length, kLastByte + 1);
    memcpy(buffer, line, static_cast<std::size_t>(pos));
    return;
  }
  const bool fresh = buffer[pos] == '\0';
  memcpy(buffer + pos, line, static_cast<std::size_t>(length));
  pos += length;
  if (fresh) buffer[pos] = '\0';
}

uint32_t* lk_log_en(unsigned int n) {
  g_dwLogEn |= 1U << (n % 32);
  return &g_dwLogEn;
}
