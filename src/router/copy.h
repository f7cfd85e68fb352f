// copy.h: texts of other programs into the fixed fields and buffers of a caller.
#pragma once

#include <cstddef>
#include <cstring>

namespace zel {

// Fills all `size` bytes: as much of the text as fits, then NULs. A text of `size` bytes or more leaves the
// field without a terminator, which is why this is not qo_strncpy.
inline void fill_field(char* field, size_t size, const char* text) noexcept {
  const size_t length = strnlen(text, size);
  memcpy(field, text, length);
  memset(field + length, 0, size - length);
}

// The same for a length that came from a plug-in; a negative one counts as 0.
inline void fill_buffer(char* buffer, int length, const char* text) noexcept {
  fill_field(buffer, length > 0 ? static_cast<size_t>(length) : 0, text);
}

}  // namespace zel
