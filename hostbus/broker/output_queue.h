#pragma once

#include <cstdint>
#include <vector>

#include "message.h"

namespace hostbus {

// Frames (the first one perhaps cut at the front) that a socket would not take yet.
class OutputQueue {
 public:
  static constexpr size_t kLimit = 1048576;

  bool empty() const { return head_ == bytes_.size(); }
  Bytes bytes() const { return Bytes(bytes_).subspan(head_); }

  // False when the frame would take the queue over its limit; nothing of it is stored then.
  // An empty queue takes a frame of any size.
  bool push(Bytes header, Bytes body);

  // Takes `count` bytes off the front.
  void pop(size_t count);
  void clear();

 private:
  std::vector<uint8_t> bytes_;
  size_t head_ = 0;
};

}  // namespace hostbus
