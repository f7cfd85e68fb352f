// content.h: bytes that anybody can compute, so that a download can be checked without a copy of it.
#pragma once
#include <cstddef>
#include <cstdint>

namespace routerbox::files {

// The byte at `offset` of every generated file, whatever its size. In Python:
//   (offset * 0x9E3779B97F4A7C15 >> 56) & 255
constexpr unsigned char content_byte(uint64_t offset) {
  return static_cast<unsigned char>(offset * 0x9E3779B97F4A7C15U >> 56);
}

inline void fill_content(uint64_t offset, char* block, size_t length) {
  for (size_t i = 0; i < length; ++i) block[i] = static_cast<char>(content_byte(offset + i));
}

}  // namespace routerbox::files
