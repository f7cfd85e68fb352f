#include "output_queue.h"

namespace hostbus {

bool OutputQueue::push(Bytes header, Bytes body) {
  const size_t queued = bytes_.size() - head_;
  if (queued > 0 && queued + header.size() + body.size() > kLimit) return false;
  // What was sent goes only when it is the larger part, so that a byte is moved once on average.
  if (head_ > queued) {
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(head_));
    head_ = 0;
  }
  bytes_.insert(bytes_.end(), header.begin(), header.end());
  bytes_.insert(bytes_.end(), body.begin(), body.end());
  return true;
}

void OutputQueue::pop(size_t count) {
  head_ += count;
  if (empty()) clear();
}

void OutputQueue::clear() {
  // Gives the memory back, which `= {}` would keep: most clients never have a queue again.
  std::vector<uint8_t>().swap(bytes_);
  head_ = 0;
}

}  // namespace hostbus
