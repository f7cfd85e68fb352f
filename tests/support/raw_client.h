// raw_client.h: sockets that frames of the bus are sent through without any library, and a client made of one.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "base/handles.h"
#include "bus_frames.h"

namespace test {

constexpr int kLimitMs = 10000;

// Where the box's broker listens. The headers of libubus do not say it.
inline constexpr char kBusPath[] = "/var/run/ubus/ubus.sock";

inline bool readable(int fd, int limit_ms = kLimitMs) {
  pollfd wait{fd, POLLIN, 0};
  return poll(&wait, 1, limit_ms) > 0;
}

inline sockaddr_un address_of(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// Empty when nobody listens there.
inline zel::Descriptor connected(const std::string& path) {
  zel::Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = address_of(path);
  const int result = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return result == 0 ? std::move(fd) : zel::Descriptor();
}

// One end of a connection. What waits throws after ten seconds, and at an end of the connection that its result
// cannot tell.
class FrameSocket {
 public:
  explicit FrameSocket(zel::Descriptor fd) : fd_(std::move(fd)) {
    const timeval limit{kLimitMs / 1000, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  }

  int fd() const { return fd_.get(); }
  void close() { fd_ = {}; }

  // Whether the socket took it all, and with MSG_DONTWAIT at once.
  bool try_send(const ByteString& bytes, int flags) const {
    const ssize_t sent = ::send(fd(), bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(bytes.size());
  }
  void send(const ByteString& bytes) const {
    if (!try_send(bytes, 0)) throw std::runtime_error("the other end does not take a frame");
  }

  // The next frame, or nothing at the end of the connection.
  std::optional<Received> receive() const {
    Received received{ByteString(12)};
    if (!read_from(0, &received.bytes)) return std::nullopt;
    received.bytes.resize(8 + (word_at(received.bytes, 8) & 0xffffff));
    if (!read_from(12, &received.bytes)) return std::nullopt;
    return received;
  }

 private:
  bool read_from(size_t at, ByteString* bytes) const {
    for (ssize_t count; at < bytes->size(); at += static_cast<size_t>(count)) {
      if (!readable(fd())) throw std::runtime_error("the other end sends nothing for ten seconds");
      count = recv(fd(), bytes->data() + at, bytes->size() - at, 0);
      if (count <= 0) return false;
    }
    return true;
  }

  zel::Descriptor fd_;
};

// A client without any library.
class RawClient : public FrameSocket {
 public:
  enum class Greeting { kRead, kLeave };
  explicit RawClient(const std::string& path, Greeting greeting = Greeting::kRead)
      : FrameSocket(connected(path)) {
    if (greeting == Greeting::kRead) id_ = receive().value().peer();
  }

  uint32_t id() const { return id_; }

  // Sends a request and returns all that comes up to its status.
  std::vector<Received> request(const ByteString& bytes) const {
    send(bytes);
    std::vector<Received> answers;
    do answers.push_back(receive().value());
    while (answers.back().type() != kStatus || answers.back().seq() != Received{bytes}.seq());
    return answers;
  }
  uint32_t status_of(const ByteString& bytes) const { return request(bytes).back().number(kCode).value(); }

  // What came before the answer to a ping.
  std::vector<Received> waiting() const {
    auto frames = request(frame(kPing, 0xbeef, 0, {}));
    frames.resize(frames.size() - 2);
    return frames;
  }

  // Adds an object, nameless if the name is empty, and returns its id.
  uint32_t add_object(const std::string& name) const {
    const ByteString named = joined({text(kPath, name), attribute(kSignature, {})});
    return request(frame(kAdd, 1, 0, {name.empty() ? ByteString() : named}))[0].number(kObject).value();
  }
  // Listens with an object of its own and returns its id.
  uint32_t listen_to(const std::string& pattern) const {
    const uint32_t object = add_object("");
    if (status_of(registration(object, pattern)) != 0)
      throw std::runtime_error("the broker refuses a listener");
    return object;
  }

 private:
  uint32_t id_ = 0;
};

}  // namespace test
