#include "bus/loop.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "base/handles.h"

namespace zel {

void Loop::clear() noexcept {
  const std::lock_guard hold(mutex_);
  table_ = {{}, 0, {}, -1};
  const Descriptor earlier(wake_event_);
  wake_event_ = behind_standard(Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))).release();
}

bool Loop::add(int fd, Handler handler, void* argument) noexcept {
  const std::lock_guard hold(mutex_);
  if (table_.last + 1 >= kCapacity) return false;
  // Kept: the count grows by one even when an entry is reused, so only 16 additions are ever possible.
  zel_loop_action* const fresh = table_.actions + ++table_.last;
  *std::find_if(table_.actions, fresh, [&](const auto& entry) { return entry.fd == fd; }) = {fd, handler,
                                                                                             argument};
  FD_SET(fd, &table_.read_set);
  table_.max_fd = std::max(table_.max_fd, fd);
  if (wake_event_ >= 0) eventfd_write(wake_event_, 1);
  return true;
}

void Loop::replace(const void* argument, int fd, void* successor) noexcept {
  const std::lock_guard hold(mutex_);
  zel_loop_action* const entry = find(argument);
  if (entry == nullptr) return;
  FD_CLR(entry->fd, &table_.read_set);
  *entry = {fd, entry->handler, successor};
  FD_SET(fd, &table_.read_set);
  table_.max_fd = std::max(table_.max_fd, fd);
}

bool Loop::waits_for(const void* argument) noexcept {
  const std::lock_guard hold(mutex_);
  const zel_loop_action* const entry = find(argument);
  return entry != nullptr && FD_ISSET(entry->fd, &table_.read_set);
}

void Loop::pause(const void* argument) noexcept {
  const std::lock_guard hold(mutex_);
  if (const zel_loop_action* const entry = find(argument)) FD_CLR(entry->fd, &table_.read_set);
}

void Loop::forget(const void* argument) noexcept {
  const std::lock_guard hold(mutex_);
  while (zel_loop_action* const entry = find(argument)) {
    FD_CLR(entry->fd, &table_.read_set);
    *entry = {entry->fd, nullptr, nullptr};
  }
}

int Loop::turn(int limit_ms) noexcept {
  zel_loop_table now = copy_table();
  int ready = wait(&now, limit_ms);
  for (int i = 0; i <= now.last && ready > 0; ++i) {
    const zel_loop_action& action = now.actions[i];
    if (action.handler == nullptr || !FD_ISSET(action.fd, &now.read_set)) continue;
    --ready;
    action.handler(action.fd, action.argument);
  }
  return ready;
}

Loop::zel_loop_action* Loop::find(const void* argument) noexcept {
  zel_loop_action* const end = table_.actions + table_.last + 1;
  zel_loop_action* const found = std::find_if(table_.actions, end, [&](const zel_loop_action& entry) {
    return entry.handler != nullptr && entry.argument == argument;
  });
  return found != end ? found : nullptr;
}

Loop::zel_loop_table Loop::copy_table() noexcept {
  const std::lock_guard hold(mutex_);
  return table_;
}

// Leaves the readable descriptors in the read set of the copy, and returns their number; none on an error.
int Loop::wait(zel_loop_table* table, int limit_ms) noexcept {
  const int wake = wake_event_;
  if (can_hold(wake)) {
    FD_SET(wake, &table->read_set);
    table->max_fd = std::max(table->max_fd, wake);
  }
  timeval limit{limit_ms / 1000, limit_ms % 1000 * 1000};
  const int ready =
      select(table->max_fd + 1, &table->read_set, nullptr, nullptr, limit_ms < 0 ? nullptr : &limit);
  if (ready < 0 && errno == EBADF) drop_closed_descriptors();
  if (ready <= 0) return 0;
  if (!can_hold(wake) || !FD_ISSET(wake, &table->read_set)) return ready;
  eventfd_t ignored;
  eventfd_read(wake, &ignored);
  FD_CLR(wake, &table->read_set);
  return ready - 1;
}

// One that was closed behind the library's back would make every select fail at once.
void Loop::drop_closed_descriptors() noexcept {
  const std::lock_guard hold(mutex_);
  for (int fd = 0; fd <= table_.max_fd; ++fd) {
    if (FD_ISSET(fd, &table_.read_set) && fcntl(fd, F_GETFD) == -1) FD_CLR(fd, &table_.read_set);
  }
  if (fcntl(wake_event_, F_GETFD) == -1) wake_event_ = -1;
}

}  // namespace zel
