// Base64 with the standard alphabet.
#include <array>
#include <bit>
#include <climits>

#include <zel/util.h>

namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kNoDigit = 0x80;

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

uint32_t in_order(uint32_t word) {
  return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

// A word wherever it lies. Of a memcpy the router's compiler would make a call when it builds for size, and of each
// coding more than twice as many instructions.
template <class Word>
struct [[gnu::packed, gnu::may_alias]] Anywhere {
  Word word;
};

// Four bytes as one number, the first byte on top. Whole words are moved, as bytes one by one would cost
// more than the look-ups between.
uint32_t get_word(const void* in) {
  return in_order(static_cast<const Anywhere<uint32_t>*>(in)->word);
}

void put_word(void* out, uint32_t word) {
  static_cast<Anywhere<uint32_t>*>(out)->word = in_order(word);
}

// Characters checked at once: a machine word of them.
using Word = size_t;

constexpr Word in_each_byte(Word byte) {
  return byte * (SIZE_MAX / 255);
}

// Sets the top bit of every byte that is at least `first` and at most `last`; all must be below 128.
Word between(Word bytes, Word first, Word last) {
  return (bytes + in_each_byte(128 - first)) & ~(bytes + in_each_byte(127 - last));
}

// Sets the top bit of every byte of a word of characters that is not of the alphabet; the other bits of
// the result mean nothing. The byte order does not matter.
Word strangers(const char* text) {
  const Word characters = static_cast<const Anywhere<Word>*>(static_cast<const void*>(text))->word;
  const Word ascii = characters & in_each_byte(0x7F);
  const Word letters = between(ascii | in_each_byte(0x20), 'a', 'z');
  const Word slash_or_decimals = between(ascii, '/', '9');
  return characters | ~(letters | slash_or_decimals | between(ascii, '+', '+'));
}

// How many characters from the start belong to the alphabet: word by word while all of a word do.
size_t digits_at_start(const char* text, size_t length) {
  size_t at = 0;
  while (length - at >= sizeof(Word) && (strangers(text + at) & in_each_byte(0x80)) == 0) at += sizeof(Word);
  while (at < length && value(text[at]) != kNoDigit) ++at;
  return at;
}

}  // namespace

void encode_base64(const void* source, int length, char* destination, int* out_length) {
  constexpr int kLongest = INT_MAX / 4 * 3;
  if (source == nullptr || destination == nullptr || length > kLongest) length = 0;
  const auto* in = static_cast<const unsigned char*>(source);
  char* out = destination;
  int left = length;
  for (; left > 3; left -= 3, in += 3, out += 4) {
    const uint32_t word = get_word(in);  // three bytes and the next group's first
    out[0] = kDigits[word >> 26];
    out[1] = kDigits[word >> 20 & 63];
    out[2] = kDigits[word >> 14 & 63];
    out[3] = kDigits[word >> 8 & 63];
  }
  if (left > 0) {
    const uint32_t second = left > 1 ? in[1] : 0;
    const uint32_t third = left > 2 ? in[2] : 0;
    out[0] = kDigits[in[0] >> 2];
    out[1] = kDigits[(in[0] << 4 | second >> 4) & 63];
    out[2] = left > 1 ? kDigits[(second << 2 | third >> 6) & 63] : '=';
    out[3] = left > 2 ? kDigits[third & 63] : '=';
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
  for (; left > 4; left -= 4, in += 4, out += 3) {
    // Three bytes and a fourth that the next group writes over.
    put_word(out, value(in[0]) << 26 | value(in[1]) << 20 | value(in[2]) << 14 | value(in[3]) << 8);
  }
  if (left > 0) {
    const uint32_t second = value(in[1]);
    const uint32_t third = left > 2 ? value(in[2]) : 0;
    const uint32_t fourth = left > 3 ? value(in[3]) : 0;
    *out++ = static_cast<unsigned char>(value(in[0]) << 2 | second >> 4);
    if (left > 2) *out++ = static_cast<unsigned char>(second << 4 | third >> 2);
    if (left > 3) *out++ = static_cast<unsigned char>(third << 6 | fourth);
  }
  if (out_length != nullptr) *out_length = static_cast<int>(out - static_cast<unsigned char*>(destination));
  return 0;
}
