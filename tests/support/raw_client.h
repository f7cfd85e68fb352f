#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../../hostbus/broker/owned_fd.h"
#include "wire_capture.h"

namespace test {

using ByteString = wire::Bytes;
using Parts = std::initializer_list<ByteString>;

// Numbers of the bus: of frames, of their attributes, and of the types of fields within.
enum : uint8_t { kHello, kStatus, kData, kPing, kLookup, kInvoke, kAdd, kRemove, kSubscribe };
enum { kCode = 1, kPath, kObject, kMethod, kType, kSignature, kPayload, kNoReply = 10, kUser = 12, kGroup };
enum { kTable = 2, kString, kNumber = 5 };

// What goes over the bus, written out by hand: tests of the broker share no encoder with it.
ByteString word(uint32_t value);
ByteString terminated(std::string_view value);
ByteString joined(const std::vector<ByteString>& parts);
ByteString frame(int type, uint16_t seq, uint32_t peer, Parts attributes);
ByteString attribute(int id, Parts payload);
ByteString number(int id, uint32_t value);
ByteString text(int id, std::string_view value);
ByteString field(int type, std::string_view name, Parts value);

// Requests that many tests make.
ByteString lookup(std::string_view path);
ByteString call(uint32_t object, Parts more = {});
ByteString event_call(std::string_view method, Parts fields);
ByteString listen(uint32_t object, std::string_view pattern);
ByteString event(std::string_view name, size_t padding = 0);

// A frame taken apart as far as tests need it.
struct Received {
  ByteString bytes;

  uint8_t type() const { return bytes[1]; }
  uint16_t seq() const { return static_cast<uint16_t>(bytes[2] << 8 | bytes[3]); }
  uint32_t peer() const;
  std::optional<ByteString> payload(int id) const;  // of the first attribute with that number
  std::optional<uint32_t> number(int id) const;
  std::string text(int id) const;  // "" if absent
};

constexpr std::chrono::seconds kLimit{10};
bool readable(int fd, std::chrono::milliseconds limit);
hostbus::OwnedFd connected(const std::string& path);  // empty when nobody listens there

// A socket to the broker without any library. What waits throws after the limit, and at an end of the
// connection that its result cannot tell.
class RawClient {
 public:
  enum class Greeting { kRead, kLeave };
  explicit RawClient(const std::string& path, Greeting greeting = Greeting::kRead);

  uint32_t id() const { return id_; }
  int fd() const { return fd_.get(); }

  void send(const ByteString& bytes) const;
  bool send_at_once(const ByteString& bytes) const;        // whether the socket took all without waiting
  std::optional<Received> receive() const;                 // nothing at the end of the connection
  std::vector<Received> request(const ByteString& bytes);  // all that comes up to the status
  uint32_t status_of(const ByteString& bytes) { return request(bytes).back().number(kCode).value(); }
  std::vector<Received> waiting();               // what came before the answer to a ping
  uint32_t add_object(std::string_view name);    // nameless if empty
  uint32_t listen_to(std::string_view pattern);  // with an object of its own
  void close() { fd_ = {}; }

 private:
  bool read_exactly(uint8_t* to, size_t size) const;

  hostbus::OwnedFd fd_;
  uint32_t id_ = 0;
};

}  // namespace test
