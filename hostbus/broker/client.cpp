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

Client::~Client() {
  around_.monitor.remove(*this);
  if (watched_ != 0) around_.poller.remove(socket_.get());
}

bool Client::read_on() {
  reading_ = true;
  return watch();
}

void Client::stop_reading() {
  reading_ = false;
  watch();
}

// One that waits for nothing is out of the poller, which reports the end of a connection to all it has.
bool Client::watch() {
  const uint32_t wanted = (reading_ ? EPOLLIN : 0U) | (has_output() ? EPOLLOUT : 0U);
  if (wanted == watched_) return true;
  if (wanted == 0) {
    around_.poller.remove(socket_.get());
  } else if (watched_ != 0) {
    around_.poller.modify(socket_.get(), wanted, id_);
  } else if (!around_.poller.add(socket_.get(), wanted, id_)) {
    return false;
  }
  watched_ = wanted;
  return true;
}

bool Client::hold(size_t bytes) {
  if (bytes > kMaxHeld - held_) return false;
  held_ += bytes;
  return true;
}

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
  if (header.type != UBUS_MSG_MONITOR) around_.monitor.show(*this, header, body, true);
  if (deaf_) return;
  const auto head = encode(header);
  const size_t sent = output_.empty() ? write(head, body) : 0;
  if (deaf_ || sent == head.size() + body.size()) return;
  if (!output_.push(head, body)) return;
  output_.pop(sent);
  if (!watch()) stop_writing();
}

void Client::flush() {
  if (output_.empty()) return;
  output_.pop(write(output_.bytes(), {}));
  watch();
}

size_t Client::write(Bytes first, Bytes second) {
  iovec pieces[] = {piece(first), piece(second)};
  msghdr message{};
  message.msg_iov = pieces;
  message.msg_iovlen = 2;
  const ssize_t count =
      zel::retry([&] { return sendmsg(socket_.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  if (count >= 0) return static_cast<size_t>(count);
  if (errno != EAGAIN && errno != ENOBUFS && errno != ENOMEM) stop_writing();
  return 0;
}

void Client::stop_writing() {
  deaf_ = true;
  output_.clear();
}

}  // namespace hostbus
