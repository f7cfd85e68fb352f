// exchange.h: one request to the download daemon, and its answer.
#pragma once

#include <mutex>

#include "base/in_child.h"
#include "base/json.h"
#include "base/patience.h"

namespace zel::download {

// A thread's turn with the daemon: dst_buffer is its own as long as the object lives.
class Exchange {
 public:
  Exchange() noexcept : turn_(turns_) {}

  // False if the transfer failed, or if there is no request because memory was short.
  [[nodiscard]] bool post(const JsonText& request, const Patience& patience);

  const char* answer() const noexcept;
  [[nodiscard]] JsonTree parse() const noexcept;

 private:
  static Mutex turns_;  // Guards dst_buffer.
  const std::lock_guard<Mutex> turn_;
};

// Logs why a call fails, under its name and the line it fails in. Returns -1.
int fail(const char* who, const char* message, int line = __builtin_LINE());

}  // namespace zel::download
