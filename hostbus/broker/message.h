#pragma once

#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <ubusmsg.h>

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <span>

namespace hostbus {

using Bytes = std::span<const uint8_t>;

inline constexpr size_t kHeaderSize = 8;
inline constexpr size_t kPreludeSize = 12;  // header and the word that tells the length of the rest
inline constexpr size_t kMaxBodySize = 1048576;

// The header without its version, which is always 0.
struct Header {
  uint8_t type = 0;
  uint16_t seq = 0;
  uint32_t peer = 0;
};

std::array<uint8_t, kHeaderSize> encode(const Header& header);

// Size of the frame that begins with these kPreludeSize bytes, or nothing if no frame begins so.
std::optional<size_t> frame_size(Bytes prelude);

// A complete frame in a client's input; valid until the input is read further.
class Frame {
 public:
  explicit Frame(std::span<uint8_t> bytes);

  const Header& header() const { return header_; }
  // The outer attribute, whose id and flag nobody looks at.
  Bytes body() const { return bytes_.subspan(kHeaderSize); }
  blob_attr* attribute() const { return reinterpret_cast<blob_attr*>(bytes_.data() + kHeaderSize); }

 private:
  Header header_;
  std::span<uint8_t> bytes_;
};

// The attributes of a frame by number (UBUS_ATTR_*). One of the wrong form is as good as absent.
class Attributes {
 public:
  explicit Attributes(const Frame& frame);

  blob_attr* operator[](int id) const { return table_[static_cast<size_t>(id)]; }
  std::optional<uint32_t> number(int id) const;
  const char* text(int id) const;  // null if absent

 private:
  std::array<blob_attr*, UBUS_ATTR_MAX> table_{};
};

// A message body in the making.
class Body {
 public:
  Body();
  ~Body() { blob_buf_free(&buffer_); }
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;

  Body& number(int id, uint32_t value);
  Body& flag(int id, bool value);
  Body& text(int id, const char* value);
  Body& data(int id, Bytes payload);

  // An attribute of numbers.
  Body& numbers(int id, const std::set<uint32_t>& values);

  // Fields, for a body that is the contents of a DATA attribute.
  Body& field(const char* name, uint32_t value);
  Body& field(const char* name, const char* value);

  Bytes bytes() const;    // the outer attribute
  Bytes payload() const;  // what it contains
  bool fits() const { return bytes().size() <= kMaxBodySize; }

 private:
  blob_buf buffer_{};
};

Bytes payload_of(const blob_attr* attribute);

}  // namespace hostbus
