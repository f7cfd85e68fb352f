// blob_check.h: what blob and blobmsg share for looking at payloads.
#pragma once

#include <libubox/blob.h>

namespace hostbus {

// Whether that many bytes are a valid payload of the kind (BLOB_ATTR_...): integers need their exact size, strings
// a final NUL, doubles at least 8 bytes.
bool is_valid(const void* payload, size_t size, int kind);

}  // namespace hostbus
