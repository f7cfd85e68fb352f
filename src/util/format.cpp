// Numbers and times to text and back.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <zel/util.h>

#include "base/libc_section.h"

char* time2str(time_t seconds, char* destination, size_t size) {
  struct tm date;
  if (zel::local_time(&seconds, &date) == nullptr) {
    const int error = errno;
    printf("localtime fail. %d, %s\n", error, strerror(error));
    return nullptr;
  }
  if (destination == nullptr) return nullptr;
  // The last years that a date can hold do not fit an int when counted from year 0.
  const long long year = date.tm_year + 1900LL;
  snprintf(destination, size, "%04lld-%02d-%02d %02d:%02d:%02d", year, date.tm_mon + 1, date.tm_mday,
           date.tm_hour, date.tm_min, date.tm_sec);
  return destination;
}

char* i2s(int number, char* destination, size_t size) {
  if (destination == nullptr || size == 0) return nullptr;
  snprintf(destination, size, "%d", number);
  return destination;
}

int parse_time(const char* text) {
  // strtol, as scanf's "%d" has no defined result for a number that does not fit.
  long long fields[3] = {0, 0, 0};
  for (long long& field : fields) {
    if (text == nullptr) break;
    char* end;
    field = std::clamp<long long>(std::strtol(text, &end, 10), INT_MIN, INT_MAX);
    text = end != text && *end == ':' ? end + 1 : nullptr;
  }
  const long long seconds = (fields[0] * 60 + fields[1]) * 60 + fields[2];
  return static_cast<int>(std::clamp<long long>(seconds, INT_MIN, INT_MAX));
}
