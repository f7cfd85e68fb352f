// Frames of the bus written and taken apart by hand, as tests of the broker share no encoder with it, and a
// socket to send them through.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "../../hostbus/broker/owned_fd.h"
#include "wire_capture.h"

namespace test {

using ByteString = wire::Bytes;
using Parts = std::vector<ByteString>;

// Numbers of the bus: of frames, of their attributes, and of the types of fields within.
enum { kHello, kStatus, kData, kPing, kLookup, kInvoke, kAdd, kRemove, kSubscribe };
enum { kCode = 1, kPath, kObject, kMethod, kType, kSignature, kPayload, kNoReply = 10, kUser = 12, kGroup };
enum { kTable = 2, kString, kNumber = 5 };

inline ByteString word(size_t value) {
  ByteString bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
  return bytes;
}

inline uint32_t word_at(const ByteString& from, size_t at) {
  return uint32_t{from[at]} << 24 | uint32_t{from[at + 1]} << 16 | uint32_t{from[at + 2]} << 8 | from[at + 3];
}

inline ByteString joined(const Parts& parts) {
  ByteString all;
  for (const ByteString& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline ByteString terminated(const std::string& value) {
  return ByteString(value.data(), value.data() + value.size() + 1);
}

inline ByteString padded(ByteString bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

inline ByteString attribute(int id, const Parts& payload) {
  const ByteString bytes = joined(payload);
  return padded(joined({word((static_cast<size_t>(id) << 24) + bytes.size() + 4), bytes}));
}

inline ByteString number(int id, uint32_t value) {
  return attribute(id, {word(value)});
}

inline ByteString text(int id, const std::string& value) {
  return attribute(id, {terminated(value)});
}

inline ByteString field(int type, const std::string& name, const Parts& value) {
  const ByteString length = {0, static_cast<uint8_t>(name.size())};
  return attribute(0x80 | type, {padded(joined({length, terminated(name)})), joined(value)});
}

inline ByteString frame(size_t type, uint16_t seq, uint32_t peer, const Parts& attributes) {
  return joined({word(type << 16 | seq), word(peer), attribute(0, attributes)});
}

inline ByteString lookup(const std::string& path) {
  return frame(kLookup, 1, 0, {text(kPath, path)});
}

inline ByteString call(uint32_t object, const Parts& more = {}) {
  return frame(kInvoke, 7, object, {number(kObject, object), text(kMethod, "m"), joined(more)});
}

inline ByteString event_call(const std::string& method, const Parts& fields) {
  return frame(kInvoke, 9, 1, {number(kObject, 1), text(kMethod, method), attribute(kPayload, fields)});
}

inline ByteString listen(uint32_t object, const std::string& pattern) {
  const ByteString wanted = field(kString, "pattern", {terminated(pattern)});
  return event_call("register", {field(kNumber, "object", {word(object)}), wanted});
}

inline ByteString event(const std::string& name, size_t padding = 0) {
  const ByteString data = field(kString, "p", {terminated(std::string(padding, 'x'))});
  return event_call("send", {field(kString, "id", {terminated(name)}), field(kTable, "data", {data})});
}

// A frame taken apart as far as tests need it.
struct Received {
  ByteString bytes;

  uint8_t type() const { return bytes[1]; }
  uint16_t seq() const { return static_cast<uint16_t>(bytes[2] << 8 | bytes[3]); }
  uint32_t peer() const { return word_at(bytes, 4); }

  // Of the first attribute with that number.
  std::optional<ByteString> payload(int id) const {
    for (size_t at = 12, size; at < bytes.size(); at += (size + 3) / 4 * 4) {
      size = word_at(bytes, at) & 0xffffff;
      if (size < 4 || at + size > bytes.size()) throw std::runtime_error("the broker sent a bad attribute");
      if (bytes[at] == id) return ByteString(bytes.data() + at + 4, bytes.data() + at + size);
    }
    return std::nullopt;
  }
  std::optional<uint32_t> number(int id) const {
    const auto found = payload(id);
    return found ? std::optional(word_at(*found, 0)) : std::nullopt;
  }
  // "" if absent.
  std::string text(int id) const {
    const auto found = payload(id);
    return found ? std::string(found->begin(), found->end() - 1) : "";
  }
};

constexpr int kLimitMs = 10000;

inline bool readable(int fd, int limit_ms = kLimitMs) {
  pollfd wait{fd, POLLIN, 0};
  return poll(&wait, 1, limit_ms) > 0;
}

// Empty when nobody listens there.
inline hostbus::OwnedFd connected(const std::string& path) {
  hostbus::OwnedFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval limit{kLimitMs / 1000, 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int result = connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  return result == 0 ? std::move(fd) : hostbus::OwnedFd();
}

// A client without any library. What waits throws after ten seconds, and at an end of the connection that
// its result cannot tell.
class RawClient {
 public:
  enum class Greeting { kRead, kLeave };
  explicit RawClient(const std::string& path, Greeting greeting = Greeting::kRead) : fd_(connected(path)) {
    if (greeting == Greeting::kRead) id_ = receive().value().peer();
  }

  uint32_t id() const { return id_; }
  int fd() const { return fd_.get(); }
  void close() { fd_ = {}; }

  // Whether the socket took it all, and with MSG_DONTWAIT at once.
  bool try_send(const ByteString& bytes, int flags) const {
    const ssize_t sent = ::send(fd(), bytes.data(), bytes.size(), flags | MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(bytes.size());
  }
  void send(const ByteString& bytes) const {
    if (!try_send(bytes, 0)) throw std::runtime_error("the broker does not take a frame");
  }

  // The next frame, or nothing at the end of the connection.
  std::optional<Received> receive() const {
    Received received{ByteString(12)};
    if (!read_from(0, &received.bytes)) return std::nullopt;
    received.bytes.resize(8 + (word_at(received.bytes, 8) & 0xffffff));
    if (!read_from(12, &received.bytes)) return std::nullopt;
    return received;
  }

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
    if (status_of(listen(object, pattern)) != 0) throw std::runtime_error("the broker refuses a listener");
    return object;
  }

 private:
  bool read_from(size_t at, ByteString* bytes) const {
    for (ssize_t count; at < bytes->size(); at += static_cast<size_t>(count)) {
      if (!readable(fd())) throw std::runtime_error("the broker sends nothing for ten seconds");
      count = recv(fd(), bytes->data() + at, bytes->size() - at, 0);
      if (count <= 0) return false;
    }
    return true;
  }

  hostbus::OwnedFd fd_;
  uint32_t id_ = 0;
};

}  // namespace test
