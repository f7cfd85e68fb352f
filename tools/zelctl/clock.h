// clock.h: time that passes, whatever is done to the date.
#pragma once
#include <cstdint>
#include <ctime>

namespace zelctl {

inline int64_t now_ms() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace zelctl
