#include <libubox/blob.h>

#include "blob_build.h"

namespace hostbus {
namespace {

constexpr size_t kMaxLength = BLOB_ATTR_LEN_MASK;
constexpr size_t kGrowthStep = 256;

constexpr size_t pad(size_t length) {
  return (length + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1);
}

size_t offset_of(const blob_buf* buf, const blob_attr* attr) {
  return static_cast<size_t>(reinterpret_cast<const char*>(attr) - static_cast<const char*>(buf->buf));
}

blob_attr* at(const blob_buf* buf, size_t offset) {
  return reinterpret_cast<blob_attr*>(static_cast<char*>(buf->buf) + offset);
}

bool grow_by_steps(blob_buf* buf, int minlen) {
  const size_t step = (static_cast<size_t>(minlen) / kGrowthStep + 1) * kGrowthStep;
  void* memory = realloc(buf->buf, static_cast<size_t>(buf->buflen) + step);
  if (memory == nullptr) return false;
  memset(static_cast<char*>(memory) + buf->buflen, 0, step);
  buf->buf = memory;
  buf->buflen += static_cast<int>(step);
  return true;
}

// Makes the memory reach to `end`.
bool reserve(blob_buf* buf, size_t end) {
  if (end > kMaxLength) return false;
  const size_t have = static_cast<size_t>(buf->buflen);
  if (end <= have) return true;
  const size_t head = buf->head == nullptr ? 0 : offset_of(buf, buf->head);
  if (buf->grow == nullptr || !buf->grow(buf, static_cast<int>(end - have))) return false;
  buf->head = at(buf, head);
  return static_cast<size_t>(buf->buflen) >= end;
}

void set_length(blob_attr* attr, size_t length) {
  const uint32_t word = be32_to_cpu(attr->id_len) & ~static_cast<uint32_t>(BLOB_ATTR_LEN_MASK);
  attr->id_len = cpu_to_be32(word | (static_cast<uint32_t>(length) & BLOB_ATTR_LEN_MASK));
}

// Writes an attribute behind the open container's last one without counting it there.
blob_attr* place(blob_buf* buf, uint32_t word, size_t payload) {
  if (buf->head == nullptr || payload > kMaxLength) return nullptr;
  const size_t length = sizeof(blob_attr) + payload;
  const size_t offset = offset_of(buf, buf->head) + blob_pad_len(buf->head);
  if (!reserve(buf, offset + pad(length))) return nullptr;
  blob_attr* attr = at(buf, offset);
  attr->id_len = cpu_to_be32(word | static_cast<uint32_t>(length));
  memset(reinterpret_cast<char*>(attr) + length, 0, pad(length) - length);
  return attr;
}

void count(blob_attr* container, size_t child_length) {
  set_length(container, blob_pad_len(container) + pad(child_length));
}

}  // namespace

blob_attr* append(blob_buf* buf, uint32_t word, size_t payload) {
  blob_attr* attr = place(buf, word, payload);
  if (attr != nullptr) count(buf->head, blob_raw_len(attr));
  return attr;
}

void* open_container(blob_buf* buf, uint32_t word, size_t payload) {
  blob_attr* attr = place(buf, word, payload);
  if (attr == nullptr) return nullptr;
  // An offset survives growth; the cookie makes it non-zero for the outermost container too.
  const uintptr_t parent = offset_of(buf, buf->head);
  buf->head = attr;
  return reinterpret_cast<void*>(parent + BLOB_COOKIE);
}

}  // namespace hostbus

using namespace hostbus;

extern "C" {

int blob_buf_init(blob_buf* buf, int id) {
  if (buf->grow == nullptr) buf->grow = grow_by_steps;
  buf->head = static_cast<blob_attr*>(buf->buf);
  if (!reserve(buf, sizeof(blob_attr))) return -ENOMEM;
  buf->head = at(buf, 0);
  buf->head->id_len = cpu_to_be32(id_word(id) | sizeof(blob_attr));
  return 0;
}

void blob_buf_free(blob_buf* buf) {
  free(buf->buf);
  buf->buf = nullptr;
  buf->head = nullptr;
  buf->buflen = 0;
}

blob_attr* blob_put(blob_buf* buf, int id, const void* ptr, unsigned int len) {
  blob_attr* attr = append(buf, id_word(id), len);
  if (attr != nullptr && ptr != nullptr && len > 0) memcpy(attr->data, ptr, len);
  return attr;
}

void* blob_nest_start(blob_buf* buf, int id) {
  return open_container(buf, id_word(id), 0);
}

void blob_nest_end(blob_buf* buf, void* cookie) {
  if (cookie == nullptr || buf->head == nullptr) return;
  const size_t parent = reinterpret_cast<uintptr_t>(cookie) - BLOB_COOKIE;
  if (parent >= offset_of(buf, buf->head)) return;
  const size_t length = blob_raw_len(buf->head);
  buf->head = at(buf, parent);
  count(buf->head, length);
}

}  // extern "C"
