// cancelled.h: calls in threads that are cancelled.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <filesystem>
#include <iterator>

#include "support/wait_until.h"

// The address sanitizer takes the stack that a cancelled thread has left for one still in use, and ends the test. The
// thread sanitizer does not see what a thread unlocks that was cancelled in poll().
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED() GTEST_SKIP()
#else
#define SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED() static_cast<void>(0)
#endif

// Runs `body` in a thread that is cancelled once it is `ready`. Returns whether that ended it.
template <class Body, class Ready>
bool ends_cancelled(Body body, Ready ready) {
  pthread_t thread;
  const auto run = [](void* of) -> void* { return (*static_cast<Body*>(of))(), nullptr; };
  pthread_create(&thread, nullptr, run, &body);
  wait_until(ready);
  pthread_cancel(thread);
  void* result = nullptr;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED;
}

inline auto open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
