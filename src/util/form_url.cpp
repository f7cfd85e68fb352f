// Form encoding: blanks as "+", the rest as percent escapes.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <zel/util.h>
#include "util/percent.h"

namespace {

constexpr zel::ByteSet all_but(const char* kept) {
  zel::ByteSet set = {{~0U, ~0U, ~0U, ~0U, ~0U, ~0U, ~0U, ~0U}};
  for (; *kept != '\0'; ++kept) set.words[*kept / 32] &= ~(1U << (*kept % 32));
  return set;
}

constexpr zel::ByteSet kEscaped = all_but(
    " -._0123456789"
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");

}  // namespace

uintptr_t url_encode(char* destination, const char* source, int length) {
  const size_t size = length > 0 ? static_cast<size_t>(length) : 0;
  return zel::percent_encode(destination, source, size, kEscaped, '+');
}

int url_decode(char* text, int length) {
  if (text == nullptr) return 0;
  char* out = text;
  for (int at = 0; at < length; ++at) {
    char byte = text[at] == '+' ? ' ' : text[at];
    if (byte == '%' && length - at > 2) {
      const int high = zel::hex_value(text[at + 1]);
      const int low = zel::hex_value(text[at + 2]);
      if (high >= 0 && low >= 0) {
        byte = static_cast<char>(high * 16 + low);
        at += 2;
      }
    }
    *out++ = byte;
  }
  *out = '\0';
  return static_cast<int>(out - text);
}

char* qo_malloc_encode_string(const char* text) {
  if (text == nullptr) return nullptr;
  const size_t length = std::strlen(text);
  if (length > INT_MAX) return nullptr;
  const size_t escapes = url_encode(nullptr, text, static_cast<int>(length));
  // Three bytes for each of two thousand million do not fit a 32-bit size.
  size_t size;
  if (__builtin_mul_overflow(escapes, 2, &size) || __builtin_add_overflow(size, length + 1, &size)) {
    return nullptr;
  }
  char* const encoded = static_cast<char*>(std::malloc(size));
  if (encoded == nullptr) return nullptr;
  url_encode(encoded, text, static_cast<int>(length));
  encoded[size - 1] = '\0';
  return encoded;
}
