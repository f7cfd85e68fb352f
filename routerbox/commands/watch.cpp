#include "watch.h"

#include <poll.h>
#include <sys/stat.h>

#include <tuple>

namespace routerbox {
namespace {

constexpr int kBetweenDrawsMs = 150;

using Stamp = std::tuple<ino_t, off_t, time_t, long>;

Stamp stamp_of(const std::string& program) {
  struct stat status {};
  if (stat(program.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace

void watch_program(const std::string& program, const std::function<bool()>& ended,
                   const std::function<void()>& changed) {
  Stamp running = stamp_of(program), last = running;
  while (!ended()) {
    poll(nullptr, 0, kBetweenDrawsMs);
    const Stamp now = stamp_of(program);
    if (now == last && now != running && now != Stamp{}) {
      running = now;
      changed();
    }
    last = now;
  }
}

}  // namespace routerbox
