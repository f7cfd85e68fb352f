#include "raw_client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace test {
namespace {

constexpr int kLimitMs = 10000;
constexpr uint8_t kStatus = 1, kPing = 3, kAddObject = 6;
constexpr int kStatusAttr = 1, kPathAttr = 2, kIdAttr = 3, kSignatureAttr = 6;

void put(ByteString* to, uint32_t value, int bytes) {
  while (bytes-- > 0) to->push_back(static_cast<uint8_t>(value >> (8 * bytes)));
}

uint32_t get(const ByteString& from, size_t at) {
  return uint32_t{from[at]} << 24 | uint32_t{from[at + 1]} << 16 | uint32_t{from[at + 2]} << 8 | from[at + 3];
}

void pad(ByteString* bytes) {
  bytes->resize((bytes->size() + 3) / 4 * 4);
}

ByteString joined(std::initializer_list<ByteString> parts) {
  ByteString all;
  for (const ByteString& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

ByteString nul_terminated(std::string_view value) {
  ByteString bytes(value.begin(), value.end());
  bytes.push_back(0);
  return bytes;
}

ByteString padded_attribute(uint32_t id_word, const ByteString& payload) {
  ByteString bytes;
  put(&bytes, id_word | static_cast<uint32_t>(payload.size() + 4), 4);
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  pad(&bytes);
  return bytes;
}

bool wait_for(int fd, short events, int limit_ms) {
  pollfd wait{fd, events, 0};
  int ready;
  do ready = ::poll(&wait, 1, limit_ms);
  while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void must_wait_for(int fd, short events) {
  if (!wait_for(fd, events, kLimitMs))
    throw std::runtime_error("nothing happened on the socket for ten seconds");
}

}  // namespace

ByteString frame(uint8_t type, uint16_t seq, uint32_t peer, std::initializer_list<ByteString> attributes) {
  const ByteString body = joined(attributes);
  ByteString bytes{0, type};
  put(&bytes, seq, 2);
  put(&bytes, peer, 4);
  put(&bytes, static_cast<uint32_t>(body.size() + 4), 4);
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

ByteString attribute(int id, const ByteString& payload) {
  return padded_attribute(static_cast<uint32_t>(id) << 24, payload);
}

ByteString attribute(int id, std::initializer_list<ByteString> children) {
  return attribute(id, joined(children));
}

ByteString number(int id, uint32_t value) {
  ByteString bytes;
  put(&bytes, value, 4);
  return attribute(id, bytes);
}

ByteString text(int id, std::string_view value) {
  return attribute(id, nul_terminated(value));
}

ByteString field(int type, std::string_view name, const ByteString& value) {
  ByteString payload;
  put(&payload, static_cast<uint32_t>(name.size()), 2);
  payload.insert(payload.end(), name.begin(), name.end());
  payload.push_back(0);
  pad(&payload);
  payload.insert(payload.end(), value.begin(), value.end());
  return padded_attribute(0x80000000U | static_cast<uint32_t>(type) << 24, payload);
}

ByteString number_field(std::string_view name, uint32_t value) {
  ByteString bytes;
  put(&bytes, value, 4);
  return field(5, name, bytes);
}

ByteString text_field(std::string_view name, std::string_view value) {
  return field(3, name, nul_terminated(value));
}

uint16_t Received::seq() const {
  return static_cast<uint16_t>(bytes[2] << 8 | bytes[3]);
}
uint32_t Received::peer() const {
  return get(bytes, 4);
}

std::optional<ByteString> Received::payload(int id) const {
  for (size_t at = 12; at + 4 <= bytes.size();) {
    const size_t size = get(bytes, at) & 0xffffff;
    if (size < 4 || at + size > bytes.size()) return std::nullopt;
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    if (bytes[at] == id) return ByteString(begin + 4, begin + static_cast<std::ptrdiff_t>(size));
    at += (size + 3) / 4 * 4;
  }
  return std::nullopt;
}

std::optional<uint32_t> Received::number(int id) const {
  const auto found = payload(id);
  if (!found || found->size() != 4) return std::nullopt;
  return get(*found, 0);
}

std::string Received::text(int id) const {
  const auto found = payload(id);
  return found && !found->empty() ? std::string(found->begin(), found->end() - 1) : "";
}

RawClient RawClient::ungreeted(const std::string& path) {
  RawClient client;
  client.fd_ = hostbus::OwnedFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (::connect(client.fd(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect to " + path + ": " + std::strerror(errno));
  }
  return client;
}

RawClient::RawClient(const std::string& path) {
  *this = ungreeted(path);
  const auto hello = receive();
  if (!hello || hello->type() != 0) throw std::runtime_error("no greeting from " + path);
  id_ = hello->peer();
}

// The broker sees who the process was when it connected.
RawClient RawClient::as_user(const std::string& path, unsigned user) {
  if (::setegid(user) != 0 || ::seteuid(user) != 0) throw std::runtime_error("cannot change the user");
  RawClient client(path);
  if (::seteuid(0) != 0 || ::setegid(0) != 0) throw std::runtime_error("cannot change the user back");
  return client;
}

void RawClient::close_writing() const {
  ::shutdown(fd(), SHUT_WR);
}

size_t RawClient::send_some(const uint8_t* bytes, size_t size) const {
  const ssize_t sent = ::send(fd(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent > 0 ? static_cast<size_t>(sent) : 0;
}

bool RawClient::send(const ByteString& bytes) const {
  for (size_t done = 0; done < bytes.size();) {
    must_wait_for(fd(), POLLOUT);
    const ssize_t sent = ::send(fd(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno != EAGAIN) return false;
    done += sent > 0 ? static_cast<size_t>(sent) : 0;
  }
  return true;
}

bool RawClient::read_exactly(uint8_t* to, size_t size) const {
  while (size > 0) {
    must_wait_for(fd(), POLLIN);
    const ssize_t count = ::recv(fd(), to, size, MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN)) return false;
    if (count < 0) continue;
    to += count;
    size -= static_cast<size_t>(count);
  }
  return true;
}

std::optional<Received> RawClient::receive() {
  Received received;
  received.bytes.resize(12);
  if (!read_exactly(received.bytes.data(), 12)) return std::nullopt;
  const size_t body = get(received.bytes, 8) & 0xffffff;
  if (body < 4) throw std::runtime_error("the broker sent a frame of impossible length");
  received.bytes.resize(8 + body);
  if (!read_exactly(received.bytes.data() + 12, body - 4)) return std::nullopt;
  return received;
}

bool RawClient::readable(std::chrono::milliseconds limit) const {
  return wait_for(fd(), POLLIN, static_cast<int>(limit.count()));
}

std::vector<Received> RawClient::request(const ByteString& bytes) {
  std::vector<Received> answers;
  const uint16_t seq = Received{bytes}.seq();
  if (!send(bytes)) throw std::runtime_error("the broker closed the connection");
  do {
    auto answer = receive();
    if (!answer) throw std::runtime_error("the broker closed the connection");
    answers.push_back(std::move(*answer));
  } while (answers.back().type() != kStatus || answers.back().seq() != seq);
  return answers;
}

int RawClient::status_of(const ByteString& bytes) {
  const auto status = request(bytes).back().number(kStatusAttr);
  return status ? static_cast<int>(*status) : -1;
}

uint32_t RawClient::add_object(std::string_view name) {
  const ByteString bytes =
      name.empty() ? frame(kAddObject, 1, 0, {})
                   : frame(kAddObject, 1, 0, {text(kPathAttr, name), attribute(kSignatureAttr, {})});
  return request(bytes).front().number(kIdAttr).value_or(0);
}

bool RawClient::ping() {
  if (!send(frame(kPing, 0xbeef, 0, {}))) return false;
  for (auto got = receive(); got; got = receive()) {
    if (got->type() == kStatus && got->seq() == 0xbeef) return true;
  }
  return false;
}

}  // namespace test
