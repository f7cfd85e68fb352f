// loop.h: the table of descriptors that the service thread waits for, and the wait.
#pragma once

#include <sys/select.h>

#include <atomic>
#include <cstdint>

#include "base/in_child.h"

namespace zel {

// Life: empty from clear(), which start-up calls; filled by add(), also while a thread turns; turned for the life of
// the process. An entry stays for good, but it can go quiet: paused (not waited for) or forgotten (its handler is not
// called again).
// Lock: its own, which guards the table. Held for moments: never across the wait, a handler, or another lock.
// A static object.
class Loop {
 public:
  using Handler = void (*)(int fd, void* argument);
  static constexpr int kCapacity = 16;

  // What select can hold.
  static bool can_hold(int fd) noexcept { return fd >= 0 && fd < FD_SETSIZE; }

  // Before any thread turns it.
  void clear() noexcept;

  // Waits for the descriptor, which can_hold() has passed, from now on. False after 16 additions.
  [[nodiscard]] bool add(int fd, Handler handler, void* argument) noexcept;

  // Gives the entry of `argument`, if there is one, another descriptor and argument, and waits for that. No addition.
  void replace(const void* argument, int fd, void* successor) noexcept;

  // Whether there is an entry of the argument that is waited for.
  bool waits_for(const void* argument) noexcept;

  void pause(const void* argument) noexcept;
  void forget(const void* argument) noexcept;

  // Waits, for limit_ms at most or without limit if it is negative, and calls the handlers of the descriptors that
  // are readable. Returns how many of these no entry explained.
  int turn(int limit_ms) noexcept;

 private:
  struct zel_loop_action {
    int32_t fd;
    Handler handler;
    void* argument;
  };

  struct zel_loop_table {
    fd_set read_set;
    int32_t max_fd;
    zel_loop_action actions[kCapacity];
    int32_t last;
  };

  zel_loop_action* find(const void* argument) noexcept;
  zel_loop_table copy_table() noexcept;
  int wait(zel_loop_table* table, int limit_ms) noexcept;
  void drop_closed_descriptors() noexcept;

  Mutex mutex_;
  zel_loop_table table_ = {{}, 0, {}, -1};
  // Ends a wait for the table as it was. -1 when there is none.
  std::atomic<int> wake_event_ = -1;
};

}  // namespace zel
