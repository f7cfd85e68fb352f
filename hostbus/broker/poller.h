#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <span>

#include "base/handles.h"

namespace hostbus {

// The descriptors the broker waits for, each under a number that comes back with its events.
class Poller {
 public:
  Poller();

  // False when the kernel has no memory or watch left for it.
  bool add(int fd, uint32_t events, uint64_t token);
  void modify(int fd, uint32_t events, uint64_t token);
  void remove(int fd);

  // Waits until something happened or `timeout_ms` passed (-1: no limit); the events are those of `room`.
  std::span<const epoll_event> wait(std::span<epoll_event> room, int timeout_ms);

 private:
  zel::Descriptor epoll_;
};

}  // namespace hostbus
