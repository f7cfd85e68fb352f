#include <libubox/uloop.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <new>
#include <utility>
#include <vector>

namespace {

constexpr long kUsPerSecond = 1000000;

timeval now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return {.tv_sec = time.tv_sec, .tv_usec = static_cast<suseconds_t>(time.tv_nsec / 1000)};
}

// Milliseconds from `from` to `to`, rounded up so that a wait does not end too early.
int milliseconds(const timeval& from, const timeval& to) {
  const long long us =
      static_cast<long long>(to.tv_sec - from.tv_sec) * kUsPerSecond + (to.tv_usec - from.tv_usec);
  return static_cast<int>(std::clamp<long long>((us + 999) / 1000, 0, INT_MAX));
}

// A descriptor that wakes a poll; uloop_end may run in a signal handler.
class WakeUp {
 public:
  WakeUp() = default;
  ~WakeUp() {
    const int fd = fd_.exchange(-1);
    if (fd >= 0) close(fd);
  }
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  void open() {
    if (fd_ < 0) fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  }
  int fd() const { return fd_; }
  void raise() const {
    const int saved = errno;
    if (fd_ >= 0) static_cast<void>(eventfd_write(fd_, 1));
    errno = saved;
  }
  void lower() const {
    eventfd_t count = 0;
    if (fd_ >= 0) static_cast<void>(eventfd_read(fd_, &count));
  }

 private:
  std::atomic<int> fd_{-1};
};

class Loop {
 public:
  Loop() { INIT_LIST_HEAD(&timers_); }

  void run();
  void end() {
    ended_ = true;
    wake_.raise();
  }
  void watch(uloop_fd* u, unsigned flags);
  bool unwatch(uloop_fd* u);
  void start(uloop_timeout* t);

 private:
  struct Watched {
    uloop_fd* record;
    int fd;
  };

  void fire_due_timers();
  int next_timer_ms() const;
  void wait_and_serve();
  void serve(const Watched& watched, short events);

  std::vector<uloop_fd*> watched_;
  list_head timers_{};  // by their end, soonest first
  WakeUp wake_;
  std::atomic<bool> ended_{false};
  int depth_ = 0;
};

void Loop::run() {
  if (depth_ == 0) ended_ = false;
  wake_.open();
  ++depth_;
  while (!ended_) {
    fire_due_timers();
    if (ended_ || (watched_.empty() && list_empty(&timers_))) break;
    wait_and_serve();
  }
  --depth_;
}

void Loop::watch(uloop_fd* u, unsigned flags) {
  if (std::find(watched_.begin(), watched_.end(), u) == watched_.end()) watched_.push_back(u);
  u->registered = true;
  u->flags = static_cast<uint8_t>(flags);
  u->eof = false;
  u->error = false;
}

bool Loop::unwatch(uloop_fd* u) {
  const auto found = std::find(watched_.begin(), watched_.end(), u);
  if (found == watched_.end()) return false;
  watched_.erase(found);
  u->registered = false;
  u->flags = 0;
  return true;
}

void Loop::start(uloop_timeout* t) {
  list_head* after = timers_.prev;
  while (after != &timers_ && timercmp(&list_entry(after, uloop_timeout, list)->time, &t->time, >)) {
    after = after->prev;
  }
  list_add(&t->list, after);
  t->pending = true;
}

void Loop::fire_due_timers() {
  const timeval time = now();
  while (!ended_ && !list_empty(&timers_)) {
    uloop_timeout* t = list_first_entry(&timers_, uloop_timeout, list);
    if (timercmp(&t->time, &time, >)) return;
    uloop_timeout_cancel(t);
    t->cb(t);
  }
}

int Loop::next_timer_ms() const {
  if (list_empty(&timers_)) return -1;
  return milliseconds(now(), list_first_entry(&timers_, uloop_timeout, list)->time);
}

void Loop::wait_and_serve() {
  std::vector<pollfd> polled{{.fd = wake_.fd(), .events = POLLIN, .revents = 0}};
  std::vector<Watched> records;
  for (uloop_fd* u : watched_) {
    const int events =
        ((u->flags & ULOOP_READ) != 0 ? POLLIN : 0) | ((u->flags & ULOOP_WRITE) != 0 ? POLLOUT : 0);
    polled.push_back({.fd = u->fd, .events = static_cast<short>(events), .revents = 0});
    records.push_back({.record = u, .fd = u->fd});
  }
  if (poll(polled.data(), polled.size(), next_timer_ms()) <= 0) return;
  wake_.lower();
  for (size_t i = 0; i < records.size() && !ended_; ++i) {
    if (polled[i + 1].revents != 0) serve(records[i], polled[i + 1].revents);
  }
}

void Loop::serve(const Watched& watched, short events) {
  uloop_fd* u = watched.record;
  // An earlier callback of this round may have deleted the record or given it another descriptor.
  if (std::find(watched_.begin(), watched_.end(), u) == watched_.end() || u->fd != watched.fd) return;
  unsigned happened = 0;
  if ((events & (POLLIN | POLLHUP)) != 0) happened |= ULOOP_READ;
  if ((events & POLLOUT) != 0) happened |= ULOOP_WRITE;
  if ((events & POLLHUP) != 0) u->eof = true;
  if ((events & (POLLERR | POLLNVAL)) != 0) {
    u->error = true;
    unwatch(u);
  }
  u->cb(u, happened);
}

Loop& loop() {
  static Loop the_loop;
  return the_loop;
}

}  // namespace

extern "C" {

int uloop_init(void) {
  return 0;
}

int uloop_run(void) {
  loop().run();
  return 0;
}

void uloop_end(void) {
  loop().end();
}

int uloop_fd_add(uloop_fd* u, unsigned int flags) {
  if ((flags & ULOOP_EVENT_MASK) == 0) return uloop_fd_delete(u);
  if ((flags & ULOOP_BLOCKING) == 0) {
    const int mode = fcntl(u->fd, F_GETFL);
    if (mode < 0 || fcntl(u->fd, F_SETFL, mode | O_NONBLOCK) < 0) return -1;
  }
  try {
    loop().watch(u, flags);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return 0;
}

int uloop_fd_delete(uloop_fd* u) {
  return loop().unwatch(u) ? 0 : -1;
}

int uloop_timeout_set(uloop_timeout* t, int msecs) {
  if (t->cb == nullptr) return -1;
  if (t->pending) uloop_timeout_cancel(t);
  const timeval start = now();
  const timeval wait{.tv_sec = std::max(msecs, 0) / 1000,
                     .tv_usec = static_cast<suseconds_t>(std::max(msecs, 0) % 1000) * 1000};
  timeradd(&start, &wait, &t->time);
  loop().start(t);
  return 0;
}

int uloop_timeout_cancel(uloop_timeout* t) {
  if (!t->pending) return -1;
  list_del_init(&t->list);
  t->pending = false;
  return 0;
}

}  // extern "C"
