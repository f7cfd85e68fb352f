// Percent escapes: what URI escaping and form encoding have in common.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zel {

// 256 bits: byte b is in the set when bit b % 32 of word b / 32 is 1.
struct ByteSet {
  uint32_t words[8];

  constexpr bool has(unsigned char byte) const { return (words[byte / 32] >> (byte % 32) & 1) != 0; }
};

// Writes the bytes of `escaped` as "%" and two upper-case digits and copies the others, with `blank` in
// place of a blank that is not escaped. Returns the position after the last character, or, without a
// destination, the number of bytes that need escaping.
uintptr_t percent_encode(char* destination, const char* source, size_t size, const ByteSet& escaped,
                         char blank);

// The value of a hexadecimal digit of either case, or -1.
int hex_value(char digit);

}  // namespace zel
