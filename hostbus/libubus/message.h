// message.h: messages on the bus socket: building, taking apart, sending and receiving them.
#pragma once

#include <ubusmsg.h>
#include <array>
#include <memory>

#include "deadline.h"

namespace hostbus {

// A frame as it came in.
struct Message {
  uint8_t type = 0;
  uint16_t seq = 0;
  uint32_t peer = 0;
  // The outer attribute. Every message has memory of its own, so it stays valid while its handler makes
  // calls that receive others.
  std::unique_ptr<char[]> bytes;

  blob_attr* body() const { return reinterpret_cast<blob_attr*>(bytes.get()); }
};

// The message attributes by number; null for one that is absent or of the wrong size.
using Attributes = std::array<blob_attr*, UBUS_ATTR_MAX>;
Attributes parse_attributes(blob_attr* body);

// The body of a message to be sent.
class Builder {
 public:
  Builder() : sound_(blob_buf_init(&buf_, 0) == 0) {}
  ~Builder() { blob_buf_free(&buf_); }
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;

  void put_u32(ubus_msg_attr id, uint32_t number) { note(blob_put_u32(&buf_, id, number) != nullptr); }
  void put_string(ubus_msg_attr id, const char* text) {
    note(text != nullptr && blob_put_string(&buf_, id, text) != nullptr);
  }
  // The contents of `message` under another id; empty for null.
  void put_contents(ubus_msg_attr id, const blob_attr* message);

  blob_buf* buf() { return &buf_; }
  // What was written to buf() did not fit.
  void note(bool success) { sound_ = sound_ && success; }

  // Null when something did not fit or was null.
  const blob_attr* body() const { return sound_ ? buf_.head : nullptr; }

 private:
  blob_buf buf_{};
  bool sound_;
};

enum class Sent { kYes, kTooLarge, kBroken };

// Writes one frame, waiting while the socket is full.
Sent send_frame(int fd, const ubus_msghdr& header, const blob_attr* body);

enum class Read { kMessage, kNothing, kClosed };

// Takes frames off the socket, however they are split or joined.
class FrameReader {
 public:
  // kNothing when no frame has begun; in the middle of one it waits for the rest until `limit`, and goes on
  // there the next time. kClosed at the end of the connection and after a bad header, which loses the
  // framing.
  Read next(int fd, const Deadline& limit, Message* message);

 private:
  static constexpr size_t kHeaderSize = sizeof(ubus_msghdr) + sizeof(blob_attr);

  Read fill(int fd, const Deadline& limit, char* data, size_t size);
  bool header_is_sound() const;
  const blob_attr* outer() const {
    return reinterpret_cast<const blob_attr*>(header_.data() + sizeof(ubus_msghdr));
  }

  alignas(ubus_msghdr) std::array<char, kHeaderSize> header_{};
  std::unique_ptr<char[]> body_;  // once the header is complete
  size_t received_ = 0;           // of the part being received
};

}  // namespace hostbus
