#include "poller.h"

#include "start_error.h"

namespace hostbus {

Poller::Poller() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (!epoll_) throw StartError("no descriptor left to wait for clients: raise the limit of open files");
}

bool Poller::add(int fd, uint32_t events, uint64_t token) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = token;
  return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

void Poller::modify(int fd, uint32_t events, uint64_t token) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = token;
  epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event);
}

void Poller::remove(int fd) {
  epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
}

std::span<const epoll_event> Poller::wait(std::span<epoll_event> room, int timeout_ms) {
  const int count = epoll_wait(epoll_.get(), room.data(), static_cast<int>(room.size()), timeout_ms);
  return count > 0 ? room.first(static_cast<size_t>(count)) : room.first(0);
}

}  // namespace hostbus
