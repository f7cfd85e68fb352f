#include "frame.h"

#include <endian.h>

#include <cstring>

namespace routerbox::bus {
namespace {

// Numbers that the oldest of the bus's headers lack.
constexpr int kTypeDouble = 8;    // of a member
constexpr int kCallersUser = 12;  // attribute of a frame
enum Description : int { kClient, kPeer, kToClient, kSequence, kType, kBody, kDescriptionEnd };
constexpr int kAccount = 15;  // hostbusd's own

constexpr int kDeepest = 32;  // of tables within tables

Json members_of(void* first, size_t length, bool named, int depth);

int16_t int16_from(blob_attr* attribute) {
  uint16_t number = 0;
  std::memcpy(&number, blobmsg_data(attribute), sizeof number);
  return static_cast<int16_t>(be16toh(number));
}

double double_from(blob_attr* attribute) {
  const uint64_t bits = blobmsg_get_u64(attribute);
  double number = 0;
  std::memcpy(&number, &bits, sizeof number);
  return number;
}

Json json_from(blob_attr* attribute, int depth) {
  switch (blobmsg_type(attribute)) {
    case BLOBMSG_TYPE_STRING:
      return blobmsg_get_string(attribute);
    case BLOBMSG_TYPE_BOOL:
      return blobmsg_get_bool(attribute);
    case BLOBMSG_TYPE_INT16:
      return int16_from(attribute);
    case BLOBMSG_TYPE_INT32:
      return static_cast<int32_t>(blobmsg_get_u32(attribute));
    case BLOBMSG_TYPE_INT64:
      return static_cast<int64_t>(blobmsg_get_u64(attribute));
    case kTypeDouble:
      return double_from(attribute);
    case BLOBMSG_TYPE_TABLE:
    case BLOBMSG_TYPE_ARRAY:
      return members_of(blobmsg_data(attribute), blobmsg_data_len(attribute),
                        blobmsg_type(attribute) == BLOBMSG_TYPE_TABLE, depth + 1);
    default:
      return nullptr;
  }
}

Json members_of(void* first, size_t length, bool named, int depth) {
  Json members = named ? Json::object() : Json::array();
  if (depth > kDeepest) return members;
  auto* member = static_cast<blob_attr*>(first);
  while (length >= sizeof(blob_attr) && blob_pad_len(member) >= sizeof(blob_attr) &&
         blob_pad_len(member) <= length && blobmsg_check_attr(member, named)) {
    if (named)
      members[blobmsg_name(member)] = json_from(member, depth);
    else
      members.push_back(json_from(member, depth));
    length -= blob_pad_len(member);
    member = blob_next(member);
  }
  return members;
}

constexpr blob_attr_info rule(unsigned int type) {
  return {.type = type, .minlen = 0, .maxlen = 0, .validate = nullptr};
}

template <size_t Count>
std::optional<uint32_t> number(blob_attr* const (&found)[Count], size_t place) {
  return found[place] != nullptr ? std::optional(blob_get_u32(found[place])) : std::nullopt;
}

template <size_t Count>
std::string text(blob_attr* const (&found)[Count], size_t place) {
  return found[place] != nullptr ? blob_get_string(found[place]) : "";
}

void read_body(blob_attr* body, Frame* frame) {
  blob_attr_info rules[kCallersUser + 1] = {};
  for (const int place : {UBUS_ATTR_STATUS, UBUS_ATTR_OBJID}) rules[place] = rule(BLOB_ATTR_INT32);
  for (const int place : {int{UBUS_ATTR_OBJPATH}, int{UBUS_ATTR_METHOD}, kCallersUser})
    rules[place] = rule(BLOB_ATTR_STRING);
  rules[UBUS_ATTR_DATA] = rule(BLOB_ATTR_NESTED);
  blob_attr* found[kCallersUser + 1] = {};
  blob_parse(body, found, rules, kCallersUser + 1);
  frame->status = number(found, UBUS_ATTR_STATUS);
  frame->object = number(found, UBUS_ATTR_OBJID);
  frame->path = text(found, UBUS_ATTR_OBJPATH);
  frame->method = text(found, UBUS_ATTR_METHOD);
  frame->caller = text(found, kCallersUser);
  blob_attr* const data = found[UBUS_ATTR_DATA];
  if (data != nullptr) frame->data = members_of(blob_data(data), blob_len(data), true, 0);
}

}  // namespace

std::optional<Frame> frame_from(blob_attr* description) {
  blob_attr_info rules[kAccount + 1] = {};
  for (const int place : {kClient, kPeer, kSequence, kType}) rules[place] = rule(BLOB_ATTR_INT32);
  rules[kToClient] = rule(BLOB_ATTR_INT8);
  rules[kBody] = rule(BLOB_ATTR_NESTED);
  rules[kAccount] = rule(BLOB_ATTR_STRING);
  blob_attr* found[kAccount + 1] = {};
  blob_parse(description, found, rules, kAccount + 1);
  for (int place = 0; place < kDescriptionEnd; ++place)
    if (found[place] == nullptr) return std::nullopt;
  Frame frame;
  frame.client = blob_get_u32(found[kClient]);
  frame.peer = blob_get_u32(found[kPeer]);
  frame.sequence = blob_get_u32(found[kSequence]);
  frame.type = static_cast<int>(blob_get_u32(found[kType]));
  frame.to_client = blob_get_u8(found[kToClient]) != 0;
  frame.account = text(found, kAccount);
  read_body(found[kBody], &frame);
  return frame;
}

}  // namespace routerbox::bus
