#include "blob_check.h"

namespace {

constexpr size_t kAnySize = SIZE_MAX;

// Payload sizes by kind of payload.
constexpr struct {
  size_t least, most;
} kSizes[BLOB_ATTR_LAST] = {
    {0, kAnySize},                                         // unspecified
    {0, kAnySize},                                         // nested
    {0, kAnySize},                                         // binary
    {1, kAnySize},                                         // string
    {1, 1},        {2, 2}, {4, 4}, {8, 8}, {8, kAnySize},  // double
};

}  // namespace

namespace hostbus {

bool is_valid(const void* payload, size_t size, int kind) {
  if (size < kSizes[kind].least || size > kSizes[kind].most) return false;
  return kind != BLOB_ATTR_STRING || static_cast<const char*>(payload)[size - 1] == '\0';
}

}  // namespace hostbus

namespace {

bool passes(const blob_attr_info& rule, blob_attr* attr) {
  const size_t len = blob_len(attr);
  if (rule.type < BLOB_ATTR_LAST && !hostbus::is_valid(attr->data, len, static_cast<int>(rule.type)))
    return false;
  if (rule.minlen != 0 && len < rule.minlen) return false;
  if (rule.maxlen != 0 && len > rule.maxlen) return false;
  return rule.validate == nullptr || rule.validate(&rule, attr);
}

}  // namespace

extern "C" {

int blob_parse(blob_attr* attr, blob_attr** data, const blob_attr_info* info, int max) {
  for (int i = 0; i < max; ++i) data[i] = nullptr;
  int found = 0;
  size_t rem = 0;
  blob_attr* child = nullptr;
  blob_for_each_attr(child, attr, rem) {
    const int id = static_cast<int>(blob_id(child));
    if (id >= max || (info != nullptr && !passes(info[id], child))) continue;
    if (data[id] == nullptr) ++found;
    // Kept: of several valid attributes of one id the last one counts, unlike with named fields.
    data[id] = child;
  }
  return found;
}

int blob_parse_untrusted(blob_attr* attr, size_t attr_len, blob_attr** data, const blob_attr_info* info,
                         int max) {
  if (attr == nullptr || attr_len < sizeof(blob_attr) || blob_raw_len(attr) > attr_len) return 0;
  return blob_parse(attr, data, info, max);
}

}  // extern "C"
