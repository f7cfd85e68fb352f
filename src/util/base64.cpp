// Base64 with the standard alphabet.
#include <array>
#include <climits>

#include "zel/util.h"

namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kNoDigit = 0x80;  // no value has this bit, so values can be checked many at a time

constexpr std::array<unsigned char, 256> values_of_digits() {
  std::array<unsigned char, 256> values{};
  values.fill(kNoDigit);
  for (unsigned char value = 0; value < 64; ++value)
    values[static_cast<unsigned char>(kDigits[value])] = value;
  return values;
}

constexpr auto kValues = values_of_digits();

uint32_t value(char digit) {
  return kValues[static_cast<unsigned char>(digit)];
}

// How many characters from the start belong to the alphabet.
size_t digits_at_start(const char* text, size_t length) {
  size_t at = 0;
  for (; length - at >= 8; at += 8) {
    const char* const t = text + at;
    const uint32_t all = value(t[0]) | value(t[1]) | value(t[2]) | value(t[3]) | value(t[4]) | value(t[5]) |
                         value(t[6]) | value(t[7]);
    if ((all & kNoDigit) != 0) break;
  }
  while (at < length && (value(text[at]) & kNoDigit) == 0) ++at;
  return at;
}

// Writes the first `count` of the four characters for 24 bits.
void put_digits(char* out, uint32_t bits, int count) {
  for (int at = 0; at < count; ++at) out[at] = kDigits[bits >> (18 - 6 * at) & 63];
}

// Writes the first `count` of the three bytes of 24 bits.
void put_bytes(unsigned char* out, uint32_t bits, int count) {
  for (int at = 0; at < count; ++at) out[at] = static_cast<unsigned char>(bits >> (16 - 8 * at));
}

}  // namespace

void encode_base64(const void* source, int length, char* destination, int* out_length) {
  constexpr int kLongest = INT_MAX / 4 * 3;
  if (source == nullptr || destination == nullptr || length > kLongest) length = 0;
  const auto* in = static_cast<const unsigned char*>(source);
  char* out = destination;
  int left = length;
  for (; left >= 3; left -= 3, in += 3, out += 4) {
    put_digits(out, uint32_t{in[0]} << 16 | uint32_t{in[1]} << 8 | in[2], 4);
  }
  if (left > 0) {
    put_digits(out, uint32_t{in[0]} << 16 | (left == 2 ? uint32_t{in[1]} << 8 : 0), left + 1);
    for (int at = left + 1; at < 4; ++at) out[at] = '=';
    out += 4;
  }
  if (out_length != nullptr) *out_length = static_cast<int>(out - destination);
}

int decode_base64(const char* source, int length, void* destination, int* out_length) {
  const size_t size = length > 0 ? static_cast<size_t>(length) : 0;
  if (size != 0 && source == nullptr) return -1;
  size_t left = digits_at_start(source, size);
  if (left < size && source[left] != '=') return -1;
  if (left % 4 == 1 || (left != 0 && destination == nullptr)) return -1;

  const char* in = source;
  auto* out = static_cast<unsigned char*>(destination);
  for (; left >= 4; left -= 4, in += 4, out += 3) {
    put_bytes(out, value(in[0]) << 18 | value(in[1]) << 12 | value(in[2]) << 6 | value(in[3]), 3);
  }
  if (left > 0) {
    const uint32_t third = left == 3 ? value(in[2]) << 6 : 0;
    put_bytes(out, value(in[0]) << 18 | value(in[1]) << 12 | third, static_cast<int>(left) - 1);
    out += left - 1;
  }
  if (out_length != nullptr) *out_length = static_cast<int>(out - static_cast<unsigned char*>(destination));
  return 0;
}
