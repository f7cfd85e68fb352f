#include <libubox/blobmsg.h>

#include "blob_check.h"

namespace {

constexpr size_t kMaxPolicyName = UINT8_MAX;

// How a value of each type is checked.
constexpr int kValueKinds[BLOBMSG_TYPE_LAST + 1] = {
    BLOB_ATTR_BINARY,  // unspecified
    BLOB_ATTR_NESTED,  // array
    BLOB_ATTR_NESTED,  // table
    BLOB_ATTR_STRING, BLOB_ATTR_INT64, BLOB_ATTR_INT32, BLOB_ATTR_INT16, BLOB_ATTR_INT8, BLOB_ATTR_DOUBLE,
};

// Checks the name header of a field; the attribute itself is known to lie inside its message.
bool name_is_sound(const blob_attr* attr, bool must_have_name) {
  if (blob_len(attr) < sizeof(blobmsg_hdr)) return false;
  const size_t length = blob_get_u16(attr);
  if (blob_len(attr) < static_cast<size_t>(blobmsg_hdrlen(static_cast<unsigned>(length)))) return false;
  if (attr->data[sizeof(blobmsg_hdr) + length] != '\0') return false;
  return length != 0 || !must_have_name;
}

bool name_equals(const blob_attr* field, const char* name) {
  const size_t length = strlen(name);
  return length <= kMaxPolicyName && length == blob_get_u16(field) &&
         memcmp(blobmsg_name(field), name, length) == 0;
}

bool type_matches(const blob_attr* field, int wanted) {
  const int type = blobmsg_type(field);
  if (wanted == BLOBMSG_CAST_INT64) return type >= BLOBMSG_TYPE_INT64 && type <= BLOBMSG_TYPE_INT8;
  return wanted == BLOBMSG_TYPE_UNSPEC || wanted == type;
}

// Stores the field in every free entry that asks for its name and type.
void store_by_name(const blobmsg_policy* policy, int policy_len, blob_attr** tb, blob_attr* field) {
  if (!blob_is_extended(field)) return;
  for (int i = 0; i < policy_len; ++i) {
    // Kept: the first field of a name and type counts, and a mistyped one does not block a later one.
    if (tb[i] != nullptr || policy[i].name == nullptr) continue;
    if (type_matches(field, policy[i].type) && name_equals(field, policy[i].name)) tb[i] = field;
  }
}

}  // namespace

extern "C" {

bool blobmsg_check_attr_len(const blob_attr* attr, bool name, size_t len) {
  if (len < sizeof(blob_attr) || blob_raw_len(attr) > len) return false;
  if (blob_is_extended(attr) && !name_is_sound(attr, name)) return false;
  if (!blob_is_extended(attr)) return !name;
  if (blob_id(attr) > BLOBMSG_TYPE_LAST) return false;
  return hostbus::is_valid(blobmsg_data(attr), blobmsg_data_len(attr), kValueKinds[blob_id(attr)]);
}

bool blobmsg_check_attr(const blob_attr* attr, bool name) {
  return blobmsg_check_attr_len(attr, name, blob_raw_len(attr));
}

int blobmsg_parse(const blobmsg_policy* policy, int policy_len, blob_attr** tb, void* data,
                  unsigned int len) {
  for (int i = 0; i < policy_len; ++i) tb[i] = nullptr;
  if (data == nullptr || len == 0) return -EINVAL;
  auto* field = static_cast<blob_attr*>(data);
  for (size_t rem = len; blob_attr_fits(field, rem); rem -= blob_pad_len(field), field = blob_next(field)) {
    // Kept: one malformed field ends the parse, also when nobody asked for it.
    if (!blobmsg_check_attr_len(field, false, rem)) return -1;
    store_by_name(policy, policy_len, tb, field);
  }
  return 0;
}

}  // extern "C"
