// wait_until.h: waits for what nobody announces.
#pragma once

#include <chrono>
#include <thread>

// Whether it becomes true within the limit.
template <class Condition>
bool wait_until(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
