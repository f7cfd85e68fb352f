#include <libubox/blob.h>

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

bool passes(const blob_attr_info& rule, blob_attr* attr) {
  const size_t len = blob_len(attr);
  if (rule.type < BLOB_ATTR_LAST &&
      !blob_check_type(attr->data, static_cast<unsigned>(len), static_cast<int>(rule.type))) {
    return false;
  }
  if (rule.minlen != 0 && len < rule.minlen) return false;
  if (rule.maxlen != 0 && len > rule.maxlen) return false;
  return rule.validate == nullptr || rule.validate(&rule, attr);
}

}  // namespace

extern "C" {

bool blob_check_type(const void* ptr, unsigned int len, int type) {
  if (type < 0 || type >= BLOB_ATTR_LAST) return false;
  if (len < kSizes[type].least || len > kSizes[type].most) return false;
  return type != BLOB_ATTR_STRING || static_cast<const char*>(ptr)[len - 1] == '\0';
}

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

bool blob_attr_equal(const blob_attr* a1, const blob_attr* a2) {
  if (a1 == nullptr || a2 == nullptr) return a1 == a2;
  return a1->id_len == a2->id_len && memcmp(a1->data, a2->data, blob_len(a1)) == 0;
}

blob_attr* blob_memdup(const blob_attr* attr) {
  if (attr == nullptr) return nullptr;
  auto* copy = static_cast<blob_attr*>(calloc(1, sizeof(blob_attr) + blob_pad_len(attr)));
  if (copy == nullptr) return nullptr;
  copy->id_len = attr->id_len;
  memcpy(copy->data, attr->data, blob_len(attr));
  return copy;
}

}  // extern "C"
