#include <libubox/blobmsg.h>

#include "blob_build.h"

namespace {

constexpr size_t kMaxName = UINT16_MAX;

// A field's name header in front of its value.
class NameHeader {
 public:
  explicit NameHeader(const char* name) : name_(name == nullptr ? "" : name), length_(strlen(name_)) {}

  bool fits() const { return length_ <= kMaxName; }
  size_t size() const { return static_cast<size_t>(blobmsg_hdrlen(static_cast<unsigned>(length_))); }
  void write(char* payload) const {
    const uint16_t length = cpu_to_be16(static_cast<uint16_t>(length_));
    memset(payload, 0, size());
    memcpy(payload, &length, sizeof(length));
    memcpy(payload + sizeof(length), name_, length_);
  }

 private:
  const char* name_;
  size_t length_;
};

blob_attr* new_field(blob_buf* buf, int type, const char* name, size_t len) {
  const NameHeader header(name);
  if (!header.fits() || len > BLOB_ATTR_LEN_MASK) return nullptr;
  blob_attr* attr = hostbus::append(buf, hostbus::id_word(type) | BLOB_ATTR_EXTENDED, header.size() + len);
  if (attr != nullptr) header.write(attr->data);
  return attr;
}

}  // namespace

extern "C" {

int blobmsg_add_field(blob_buf* buf, int type, const char* name, const void* data, unsigned int len) {
  blob_attr* attr = new_field(buf, type, name, len);
  if (attr == nullptr) return -1;
  if (data != nullptr && len > 0) memcpy(blobmsg_data(attr), data, len);
  return 0;
}

void* blobmsg_open_nested(blob_buf* buf, const char* name, bool array) {
  const NameHeader header(name);
  if (!header.fits()) return nullptr;
  const int type = array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE;
  void* cookie = hostbus::open_container(buf, hostbus::id_word(type) | BLOB_ATTR_EXTENDED, header.size());
  if (cookie != nullptr) header.write(buf->head->data);
  return cookie;
}

}  // extern "C"
