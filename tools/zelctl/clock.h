// clock.h: time that passes, whatever is done to the date.
#pragma once
#include <ctime>

namespace zelctl {

inline timespec now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time;
}

inline double seconds_since(const timespec& begin) {
  const timespec end = now();
  return static_cast<double>(end.tv_sec - begin.tv_sec) +
         static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e9;
}

}  // namespace zelctl
