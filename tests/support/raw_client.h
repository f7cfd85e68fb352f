#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../../hostbus/broker/owned_fd.h"

namespace test {

using ByteString = std::vector<uint8_t>;

// What goes over the bus, written out by hand: tests of the broker share no encoder with it.
ByteString frame(uint8_t type, uint16_t seq, uint32_t peer, std::initializer_list<ByteString> attributes);
ByteString attribute(int id, const ByteString& payload);
ByteString attribute(int id, std::initializer_list<ByteString> children);
ByteString number(int id, uint32_t value);
ByteString text(int id, std::string_view value);
ByteString field(int type, std::string_view name, const ByteString& value);
ByteString number_field(std::string_view name, uint32_t value);
ByteString text_field(std::string_view name, std::string_view value);

// A frame taken apart as far as tests need it.
struct Received {
  ByteString bytes;

  uint8_t type() const { return bytes[1]; }
  uint16_t seq() const;
  uint32_t peer() const;
  std::optional<ByteString> payload(int id) const;  // of the first attribute with that number
  std::optional<uint32_t> number(int id) const;
  std::string text(int id) const;  // "" if absent
};

// A socket to the broker without any library. Waiting calls fail the test after ten seconds.
class RawClient {
 public:
  // Connects and reads the greeting.
  explicit RawClient(const std::string& path);
  // The same as the user and group of that number, as which only root can act.
  static RawClient as_user(const std::string& path, unsigned user);
  // Connects only; the greeting is still to come.
  static RawClient ungreeted(const std::string& path);

  uint32_t id() const { return id_; }
  int fd() const { return fd_.get(); }

  // Blocks until all is written; false if the peer is gone.
  bool send(const ByteString& bytes) const;
  // What the socket takes at once.
  size_t send_some(const uint8_t* bytes, size_t size) const;

  // The next frame, or nothing at the end of the connection.
  std::optional<Received> receive();
  // Whether a frame, or the end, is there within the time.
  bool readable(std::chrono::milliseconds limit) const;
  bool at_end() { return !receive(); }

  // Sends a request and returns all that comes up to its status.
  std::vector<Received> request(const ByteString& bytes);
  // The status alone.
  int status_of(const ByteString& bytes);
  // Adds an object and returns its id; nameless if the name is empty.
  uint32_t add_object(std::string_view name);
  // Whether the broker still answers, after everything sent before.
  bool ping();

  void close() { fd_ = {}; }
  void close_writing() const;

 private:
  RawClient() = default;
  bool read_exactly(uint8_t* to, size_t size) const;

  hostbus::OwnedFd fd_;
  uint32_t id_ = 0;
};

}  // namespace test
