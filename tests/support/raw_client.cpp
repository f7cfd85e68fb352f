#include "raw_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>

namespace test {
namespace {

uint32_t get(const ByteString& from, size_t at) {
  return uint32_t{from[at]} << 24 | uint32_t{from[at + 1]} << 16 | uint32_t{from[at + 2]} << 8 | from[at + 3];
}

ByteString padded(ByteString bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

}  // namespace

ByteString word(uint32_t value) {
  ByteString bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
  return bytes;
}

ByteString terminated(std::string_view value) {
  return joined({{value.begin(), value.end()}, {0}});
}

ByteString joined(const std::vector<ByteString>& parts) {
  ByteString all;
  for (const ByteString& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

ByteString frame(int type, uint16_t seq, uint32_t peer, Parts attributes) {
  return joined({word(static_cast<uint32_t>(type) << 16 | seq), word(peer), attribute(0, attributes)});
}

ByteString attribute(int id, Parts payload) {
  const ByteString bytes = joined(payload);
  const size_t size = bytes.size() + 4;
  return padded(joined({word(static_cast<uint32_t>(id) << 24 | static_cast<uint32_t>(size)), bytes}));
}

ByteString number(int id, uint32_t value) {
  return attribute(id, {word(value)});
}

ByteString text(int id, std::string_view value) {
  return attribute(id, {terminated(value)});
}

ByteString field(int type, std::string_view name, Parts value) {
  const ByteString length = {0, static_cast<uint8_t>(name.size())};
  return attribute(0x80 | type, {padded(joined({length, terminated(name)})), joined(value)});
}

ByteString lookup(std::string_view path) {
  return frame(kLookup, 1, 0, {text(kPath, path)});
}

ByteString call(uint32_t object, Parts more) {
  return frame(kInvoke, 7, object, {number(kObject, object), text(kMethod, "m"), joined(more)});
}

ByteString event_call(std::string_view method, Parts fields) {
  return frame(kInvoke, 9, 1, {number(kObject, 1), text(kMethod, method), attribute(kPayload, fields)});
}

ByteString listen(uint32_t object, std::string_view pattern) {
  return event_call("register", {field(kNumber, "object", {word(object)}),
                                 field(kString, "pattern", {terminated(pattern)})});
}

ByteString event(std::string_view name, size_t padding) {
  const ByteString data = field(kString, "p", {terminated(std::string(padding, 'x'))});
  return event_call("send", {field(kString, "id", {terminated(name)}), field(kTable, "data", {data})});
}

uint32_t Received::peer() const {
  return get(bytes, 4);
}

std::optional<ByteString> Received::payload(int id) const {
  for (size_t at = 12, size; at < bytes.size(); at += (size + 3) / 4 * 4) {
    size = get(bytes, at) & 0xffffff;
    if (size < 4 || at + size > bytes.size()) throw std::runtime_error("the broker sent a bad attribute");
    if (bytes[at] == id) return ByteString(bytes.data() + at + 4, bytes.data() + at + size);
  }
  return std::nullopt;
}

std::optional<uint32_t> Received::number(int id) const {
  const auto found = payload(id);
  return found ? std::optional(get(*found, 0)) : std::nullopt;
}

std::string Received::text(int id) const {
  const auto found = payload(id);
  return found ? std::string(found->begin(), found->end() - 1) : "";
}

bool readable(int fd, std::chrono::milliseconds limit) {
  pollfd wait{fd, POLLIN, 0};
  return ::poll(&wait, 1, static_cast<int>(limit.count())) > 0;
}

hostbus::OwnedFd connected(const std::string& path) {
  hostbus::OwnedFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval limit{kLimit.count(), 0};
  ::setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int result = ::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  return result == 0 ? std::move(fd) : hostbus::OwnedFd();
}

RawClient::RawClient(const std::string& path, Greeting greeting) : fd_(connected(path)) {
  if (!fd_) throw std::runtime_error("cannot connect to " + path);
  if (greeting == Greeting::kRead) id_ = receive().value().peer();
}

void RawClient::send(const ByteString& bytes) const {
  const ssize_t sent = ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("the broker does not take a frame");
}

bool RawClient::send_at_once(const ByteString& bytes) const {
  const ssize_t sent = ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent == static_cast<ssize_t>(bytes.size());
}

bool RawClient::read_exactly(uint8_t* to, size_t size) const {
  for (ssize_t count; size > 0; to += count, size -= static_cast<size_t>(count)) {
    if (!readable(fd(), kLimit)) throw std::runtime_error("the broker sends nothing for ten seconds");
    count = ::recv(fd(), to, size, 0);
    if (count <= 0) return false;
  }
  return true;
}

std::optional<Received> RawClient::receive() const {
  Received received{ByteString(12)};
  if (!read_exactly(received.bytes.data(), 12)) return std::nullopt;
  received.bytes.resize(8 + (get(received.bytes, 8) & 0xffffff));
  if (!read_exactly(received.bytes.data() + 12, received.bytes.size() - 12)) return std::nullopt;
  return received;
}

std::vector<Received> RawClient::request(const ByteString& bytes) {
  send(bytes);
  std::vector<Received> answers;
  do answers.push_back(receive().value());
  while (answers.back().type() != kStatus || answers.back().seq() != Received{bytes}.seq());
  return answers;
}

std::vector<Received> RawClient::waiting() {
  auto frames = request(frame(kPing, 0xbeef, 0, {}));
  frames.resize(frames.size() - 2);
  return frames;
}

uint32_t RawClient::add_object(std::string_view name) {
  const ByteString named = joined({text(kPath, name), attribute(kSignature, {})});
  return request(frame(kAdd, 1, 0, {name.empty() ? ByteString() : named})).front().number(kObject).value();
}

uint32_t RawClient::listen_to(std::string_view pattern) {
  const uint32_t object = add_object("");
  if (status_of(listen(object, pattern)) != 0) throw std::runtime_error("the broker refuses a listener");
  return object;
}

}  // namespace test
