// connect.h: how the library meets libubus.
//
// The genuine libubus keeps process-wide state: one buffer every message is built in, one table of parsed
// attributes for all connections. So every call into it, whatever the connection, is made inside a
// BusSection, and what it hands out is used up before the section ends. It also takes over signals when it
// connects (signals.h), loses its framing over a bad frame (frame.h) and, in older generations, writes to a dead
// broker without a guard, waits for the answer of one that has hung up, and leaves a timer behind.
#pragma once

#include <memory>

#include "base/handles.h"
#include "base/lock.h"
#include "base/sigpipe.h"
#include "base/uncancelled.h"
#include "bus/libubus.h"

namespace zel {

// Closes without a word to the broker, which then drops what it has not read.
void close_bus(ubus_context* bus) noexcept;
using BusLink = std::unique_ptr<ubus_context, Call<close_bus>>;

// The scope of every use of libubus on the plug-in's threads: the global lock, and what libubus cannot bear.
class BusSection {
 private:
  Uncancelled uncancelled_;
  GlobalSection lock_;
  SigpipeGuard guard_;
};

// Connects to the broker at the default path; one that accepts and stays silent is waited for without limit. Null
// on failure, with errno set. The plug-in's signals are afterwards what they were before, and the socket is
// close-on-exec. When the broker hangs up, calls that wait for it return. Inside a BusSection.
[[nodiscard]] BusLink connect_bus() noexcept;

// A message under construction. Freed with the scope.
class BusMessage {
 public:
  BusMessage() noexcept : sound_(blob_buf_init(&buffer_, 0) == 0) {}
  ~BusMessage() { blob_buf_free(&buffer_); }
  BusMessage(const BusMessage&) = delete;
  BusMessage& operator=(const BusMessage&) = delete;

  // False if there is no memory for it; then nothing else may be asked.
  explicit operator bool() const noexcept { return sound_; }
  blob_buf* buffer() noexcept { return &buffer_; }
  blob_attr* data() noexcept { return buffer_.head; }

 private:
  blob_buf buffer_{};
  bool sound_;
};

}  // namespace zel
