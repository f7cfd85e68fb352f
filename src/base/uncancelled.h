// uncancelled.h: calls into a library that cannot be left half-way.
#pragma once

#include <pthread.h>

namespace zel {

// Puts off pthread_cancel of the calling thread for its lifetime.
class Uncancelled {
 public:
  Uncancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~Uncancelled() { pthread_setcancelstate(before_, nullptr); }
  Uncancelled(const Uncancelled&) = delete;
  Uncancelled& operator=(const Uncancelled&) = delete;

 private:
  int before_;
};

}  // namespace zel
