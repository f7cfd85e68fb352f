// libc_section.h: calls of the C library that hold locks of its own.
#pragma once

#include <ctime>

#include "base/uncancelled.h"

namespace zel {

// The scope of a call like syslog(), localtime_r() or popen(). The C library leaves their locks to a forked child as
// they are: held for ever, if another thread was inside. So forks wait for the end of the scope.
class LibcSection {
 public:
  LibcSection() noexcept;
  ~LibcSection();
  LibcSection(const LibcSection&) = delete;
  LibcSection& operator=(const LibcSection&) = delete;

 private:
  Uncancelled uncancelled_;
};

// As localtime_r.
inline tm* local_time(const time_t* seconds, tm* date) noexcept {
  const LibcSection section;
  return localtime_r(seconds, date);
}

// The date of a message; all zero when the time has none.
inline tm local_now() noexcept {
  const time_t now = time(nullptr);
  tm date{};
  local_time(&now, &date);
  return date;
}

}  // namespace zel
