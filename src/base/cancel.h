// cancel.h: a plug-in's pthread_cancel where it cannot be served.
#pragma once

#include <pthread.h>

namespace zel {

// Puts a cancellation of the calling thread off for its lifetime. What releases may wait, and would be ended half
// way, or end the process where it happens in a destructor.
class CancelLater {
 public:
  CancelLater() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~CancelLater() { pthread_setcancelstate(before_, &before_); }
  CancelLater(const CancelLater&) = delete;
  CancelLater& operator=(const CancelLater&) = delete;

 private:
  int before_;
};

}  // namespace zel
