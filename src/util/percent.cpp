#include "util/percent.h"

namespace zel {

uintptr_t percent_encode(char* destination, const char* source, size_t size, const ByteSet& escaped,
                         char blank) {
  if (source == nullptr) size = 0;
  if (destination == nullptr) {
    uintptr_t count = 0;
    for (size_t at = 0; at < size; ++at) count += escaped.has(static_cast<unsigned char>(source[at])) ? 1 : 0;
    return count;
  }
  for (size_t at = 0; at < size; ++at) {
    const auto byte = static_cast<unsigned char>(source[at]);
    if (!escaped.has(byte)) {
      *destination++ = byte == ' ' ? blank : source[at];
      continue;
    }
    destination[0] = '%';
    destination[1] = "0123456789ABCDEF"[byte >> 4];
    destination[2] = "0123456789ABCDEF"[byte & 15];
    destination += 3;
  }
  return reinterpret_cast<uintptr_t>(destination);
}

int hex_value(char digit) {
  const unsigned decimal = static_cast<unsigned char>(digit) - unsigned{'0'};
  if (decimal < 10) return static_cast<int>(decimal);
  const unsigned letter = (static_cast<unsigned char>(digit) | 0x20U) - unsigned{'a'};
  return letter < 6 ? static_cast<int>(letter + 10) : -1;
}

}  // namespace zel
