#include "client.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>

namespace hostbus {
namespace {

iovec piece(Bytes bytes) {
  return {const_cast<uint8_t*>(bytes.data()), bytes.size()};
}

// An idle client keeps no more input memory than this.
constexpr size_t kSmallInput = 4096;

}  // namespace

Client::Input Client::receive(std::span<uint8_t> scratch) {
  // Without room for ancillary data the kernel closes descriptors that come along.
  const ssize_t count =
      zel::retry([&] { return recv(socket_.get(), scratch.data(), scratch.size(), MSG_DONTWAIT); });
  if (count > 0) {
    input_.insert(input_.end(), scratch.begin(), scratch.begin() + count);
    return Input::kSome;
  }
  return count < 0 && errno == EAGAIN ? Input::kNone : Input::kEnd;
}

Client::Next Client::next() const {
  const Bytes rest = Bytes(input_).subspan(handled_);
  if (rest.size() < kPreludeSize) return Next::kIncomplete;
  const std::optional<size_t> size = frame_size(rest);
  if (!size) return Next::kBad;
  return rest.size() < *size ? Next::kIncomplete : Next::kFrame;
}

Frame Client::frame() {
  const std::span<uint8_t> rest = std::span(input_).subspan(handled_);
  return Frame(rest.first(*frame_size(rest)));
}

void Client::drop_frame() {
  handled_ += *frame_size(Bytes(input_).subspan(handled_));
}

void Client::trim_input() {
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(handled_));
  handled_ = 0;
  if (input_.size() < kSmallInput && input_.capacity() > kSmallInput) input_.shrink_to_fit();
}

void Client::send(const Header& header, Bytes body) {
  if (deaf_) return;
  const auto head = encode(header);
  const size_t sent = output_.empty() ? write(head, body) : 0;
  if (deaf_ || sent == head.size() + body.size()) return;
  const bool was_empty = output_.empty();
  if (!output_.push(head, body)) return;
  output_.pop(sent);
  if (was_empty) update_interest();
}

void Client::flush() {
  output_.pop(write(output_.bytes(), {}));
  if (output_.empty()) update_interest();
}

size_t Client::write(Bytes first, Bytes second) {
  iovec pieces[] = {piece(first), piece(second)};
  msghdr message{};
  message.msg_iov = pieces;
  message.msg_iovlen = 2;
  const ssize_t count =
      zel::retry([&] { return sendmsg(socket_.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  if (count >= 0) return static_cast<size_t>(count);
  if (errno != EAGAIN && errno != ENOBUFS && errno != ENOMEM) {
    deaf_ = true;
    output_.clear();
  }
  return 0;
}

}  // namespace hostbus
