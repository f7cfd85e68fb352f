// blob_build.h: what blob and blobmsg share for putting attributes into a buffer.
#pragma once

#include <libubox/blob.h>

namespace hostbus {

// The bits of a header word besides the length.
constexpr uint32_t id_word(int id) {
  return (static_cast<uint32_t>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK;
}

// Appends an attribute to the open container and counts it there; its padding is zero, its payload is not
// touched. Null when the buffer cannot grow.
blob_attr* append(blob_buf* buf, uint32_t word, size_t payload);

// Opens a container that begins with `payload` bytes. Returns the cookie for blob_nest_end, or null.
void* open_container(blob_buf* buf, uint32_t word, size_t payload);

}  // namespace hostbus
