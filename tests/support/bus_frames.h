// bus_frames.h: frames of the bus written and taken apart by hand, as tests of its programs share no encoder with
// them.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "wire_capture.h"

namespace test {

using ByteString = wire::Bytes;
using Parts = std::vector<ByteString>;

// Numbers of the bus: of frames, of their attributes, and of the types of fields within.
enum {
  kHello,
  kStatus,
  kData,
  kPing,
  kLookup,
  kInvoke,
  kAdd,
  kRemove,
  kSubscribe,
  kUnsubscribe,
  kNotify,
  kMonitor
};
enum { kCode = 1, kPath, kObject, kMethod, kType, kSignature, kPayload, kTarget, kActive, kNoReply };
enum { kSubscribers = kNoReply + 1, kUser, kGroup };
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

inline ByteString registration(uint32_t object, const std::string& pattern) {
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

// The largest outer attribute that a frame may have.
constexpr size_t kMaxBody = 1048576;

// A call of `method` {"msg": text} whose outer attribute has exactly `body` bytes (a multiple of 4; over kMaxBody
// too). `peer` is the object in a caller's frame, and the caller in the frame that the object's owner gets.
inline ByteString sized_call(uint32_t peer, uint32_t object, const std::string& method, size_t body) {
  const auto filled = [&](size_t length) {
    const ByteString message = field(kString, "msg", {terminated(std::string(length, 'x'))});
    return frame(kInvoke, 7, peer,
                 {number(kObject, object), text(kMethod, method), attribute(kPayload, {message})});
  };
  // One letter and its NUL leave room for two more before the frame grows.
  return filled(body - (filled(1).size() - 8) + 1);
}

// The answers of a broker, or of a service, to a request.
inline ByteString data(const Received& request, const Parts& attributes) {
  return frame(kData, request.seq(), request.peer(), attributes);
}
inline ByteString status(const Received& request, uint32_t code) {
  return frame(kStatus, request.seq(), request.peer(), {test::number(kCode, code)});
}

}  // namespace test
