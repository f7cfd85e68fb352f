#include "message.h"

#include <cstring>
#include <new>

namespace hostbus {
namespace {

uint32_t big_endian_32(const uint8_t* at) {
  return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}

// A body that lacks what was put into it must not be sent.
void require(bool stored) {
  if (!stored) throw std::bad_alloc();
}

}  // namespace

std::array<uint8_t, kHeaderSize> encode(const Header& header) {
  return {0,
          header.type,
          static_cast<uint8_t>(header.seq >> 8),
          static_cast<uint8_t>(header.seq),
          static_cast<uint8_t>(header.peer >> 24),
          static_cast<uint8_t>(header.peer >> 16),
          static_cast<uint8_t>(header.peer >> 8),
          static_cast<uint8_t>(header.peer)};
}

std::optional<size_t> frame_size(Bytes prelude) {
  const size_t body = big_endian_32(prelude.data() + kHeaderSize) & BLOB_ATTR_LEN_MASK;
  if (body < sizeof(blob_attr) || body > kMaxBodySize) return std::nullopt;
  return kHeaderSize + body;
}

Frame::Frame(std::span<uint8_t> bytes) : bytes_(bytes) {
  header_.type = bytes[1];
  header_.seq = static_cast<uint16_t>(bytes[2] << 8 | bytes[3]);
  header_.peer = big_endian_32(bytes.data() + 4);
}

Attributes::Attributes(const Frame& frame) {
  static constexpr auto kRules = [] {
    std::array<blob_attr_info, UBUS_ATTR_MAX> rules{};
    for (int id : {UBUS_ATTR_STATUS, UBUS_ATTR_OBJID, UBUS_ATTR_OBJTYPE, UBUS_ATTR_TARGET})
      rules[id].type = BLOB_ATTR_INT32;
    for (int id : {UBUS_ATTR_OBJPATH, UBUS_ATTR_METHOD}) rules[id].type = BLOB_ATTR_STRING;
    rules[UBUS_ATTR_NO_REPLY].type = BLOB_ATTR_INT8;
    return rules;
  }();
  blob_parse_untrusted(frame.attribute(), frame.body().size(), table_.data(), kRules.data(), UBUS_ATTR_MAX);
}

std::optional<uint32_t> Attributes::number(int id) const {
  const blob_attr* found = (*this)[id];
  if (found == nullptr) return std::nullopt;
  return blob_get_u32(found);
}

const char* Attributes::text(int id) const {
  const blob_attr* found = (*this)[id];
  return found != nullptr ? blob_get_string(found) : nullptr;
}

Body::Body() {
  require(blob_buf_init(&buffer_, 0) == 0);
}

Body& Body::number(int id, uint32_t value) {
  require(blob_put_u32(&buffer_, id, value) != nullptr);
  return *this;
}

Body& Body::flag(int id, bool value) {
  require(blob_put_u8(&buffer_, id, value) != nullptr);
  return *this;
}

Body& Body::numbers(int id, const std::set<uint32_t>& values) {
  void* list = blob_nest_start(&buffer_, id);
  require(list != nullptr);
  for (const uint32_t value : values) number(0, value);
  blob_nest_end(&buffer_, list);
  return *this;
}

Body& Body::text(int id, const char* value) {
  require(blob_put_string(&buffer_, id, value) != nullptr);
  return *this;
}

Body& Body::data(int id, Bytes payload) {
  require(blob_put(&buffer_, id, payload.data(), static_cast<unsigned>(payload.size())) != nullptr);
  return *this;
}

Body& Body::field(const char* name, uint32_t value) {
  require(blobmsg_add_u32(&buffer_, name, value) == 0);
  return *this;
}

Body& Body::field(const char* name, const char* value) {
  require(blobmsg_add_string(&buffer_, name, value) == 0);
  return *this;
}

Bytes Body::bytes() const {
  return {reinterpret_cast<const uint8_t*>(buffer_.head), blob_raw_len(buffer_.head)};
}

Bytes Body::payload() const {
  return payload_of(buffer_.head);
}

Bytes payload_of(const blob_attr* attribute) {
  return {static_cast<const uint8_t*>(blob_data(attribute)), blob_len(attribute)};
}

}  // namespace hostbus
