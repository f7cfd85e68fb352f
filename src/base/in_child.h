// in_child.h: forks of the plug-in. A child has a copy of all memory but only the thread that forked: what another
// thread held or was in the middle of stays so for ever, unless it is put right.
#pragma once

#include <pthread.h>

namespace zel {

// Puts something right in every forked child, before its code goes on. For static objects: each stays listed.
class InChild {
 public:
  using Repair = void (*)(void* object);
  InChild(Repair repair, void* object) noexcept;
  InChild(const InChild&) = delete;
  InChild& operator=(const InChild&) = delete;

 private:
  static void repair_all() noexcept;

  const Repair repair_;
  void* const object_;
  const InChild* const next_;
};

// A mutex that a child finds free, whichever thread of its parent held it. A static object. Its kind is one of
// pthread's; of a recursive one, a child forked by the holder is no holder either.
class Mutex {
 public:
  explicit Mutex(int kind = PTHREAD_MUTEX_DEFAULT) noexcept;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // With pthread's results.
  int lock() noexcept { return pthread_mutex_lock(&mutex_); }
  int unlock() noexcept { return pthread_mutex_unlock(&mutex_); }

 private:
  void make() noexcept;

  const int kind_;
  pthread_mutex_t mutex_;
  const InChild again_{[](void* self) { static_cast<Mutex*>(self)->make(); }, this};
};

}  // namespace zel
