// cancelled.h: calls in threads that are cancelled.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

// The address sanitizer takes the stack that a cancelled thread has left for one still in use, and ends the test.
#ifdef __SANITIZE_ADDRESS__
#define SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED() GTEST_SKIP()
#else
#define SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED() static_cast<void>(0)
#endif

// Whether it becomes true within a while.
template <class Condition>
bool comes_true(Condition condition) {
  for (int left = 5000; left > 0; --left) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

// Runs `body` in a thread that is cancelled once it is `ready`. Returns whether that ended it.
template <class Body, class Ready>
bool ends_cancelled(Body body, Ready ready) {
  pthread_t thread;
  const auto run = [](void* of) -> void* { return (*static_cast<Body*>(of))(), nullptr; };
  pthread_create(&thread, nullptr, run, &body);
  comes_true(ready);
  pthread_cancel(thread);
  void* result = nullptr;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED;
}

inline auto open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
