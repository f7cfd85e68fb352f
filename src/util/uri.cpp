// Percent escapes of URIs and their relatives.
#include <cstdint>

#include <zel/util.h>
#include "util/percent.h"

namespace {

using zel::ByteSet;
using zel::hex_value;

constexpr ByteSet kMail = {{0xFFFFFFFF, 0x00000021, 0, 0, 0, 0, 0, 0}};
constexpr ByteSet kEscaped[] = {
    {{0xFFFFFFFF, 0x80000029, 0x00000000, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}},
    {{0xFFFFFFFF, 0xA4008869, 0x10000000, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}},
    {{0xFFFFFFFF, 0x000000AD, 0x00000000, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}},
    {{0xFFFFFFFF, 0x00000085, 0x00000000, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}},
    kMail,
    kMail,
};

// Reads one byte at a time; `in` and `out` may run over the same memory, as `out` never overtakes.
class Unescaper {
 public:
  Unescaper(char* out, unsigned type) : out_(out), type_(type) {}

  // Takes one byte. Returns false when it ended the decoding.
  bool take(char byte) {
    switch (state_) {
      case State::kUsual:
        return plain(byte);
      case State::kQuoted:
        return first_digit(byte);
      default:
        state_ = State::kUsual;
        return hex_value(byte) < 0 || escape(byte);  // Kept: "%4z" vanishes whole.
    }
  }

  char* out() const { return out_; }

 private:
  enum class State { kUsual, kQuoted, kQuotedSecond };

  bool put(char byte) {
    *out_++ = byte;
    return true;
  }

  bool ends(char byte) const {
    return byte == '?' && (type_ & (QO_UNESCAPE_URI | QO_UNESCAPE_REDIRECT)) != 0;
  }

  bool plain(char byte) {
    if (byte != '%') return put(byte) && !ends(byte);
    state_ = State::kQuoted;
    return true;
  }

  bool first_digit(char byte) {
    first_ = byte;
    state_ = hex_value(byte) < 0 ? State::kUsual : State::kQuotedSecond;
    return state_ == State::kQuotedSecond || put(byte);  // Kept: "%z" loses its "%".
  }

  bool escape(char second) {
    const int value = hex_value(first_) * 16 + hex_value(second);
    const bool redirect = (type_ & QO_UNESCAPE_REDIRECT) != 0 && (type_ & QO_UNESCAPE_URI) == 0;
    if (redirect && (value <= '%' || value > '~')) return put('%') && put(first_) && put(second);
    return put(static_cast<char>(value)) && !ends(static_cast<char>(value));
  }

  char* out_;
  unsigned type_;
  State state_ = State::kUsual;
  char first_ = '\0';
};

}  // namespace

uintptr_t escape_uri(char* destination, const char* source, size_t size, unsigned int type) {
  constexpr size_t kTypes = sizeof kEscaped / sizeof kEscaped[0];
  return zel::percent_encode(destination, source, size, kEscaped[type < kTypes ? type : QO_ESCAPE_URI], ' ');
}

void unescape_uri(char** destination, char** source, size_t size, unsigned int type) {
  if (destination == nullptr || source == nullptr || *destination == nullptr || *source == nullptr) return;
  Unescaper unescaper(*destination, type);
  char* in = *source;
  const char* const end = in + size;
  while (in != end && unescaper.take(*in++)) {
  }
  *destination = unescaper.out();
  *source = in;
}
