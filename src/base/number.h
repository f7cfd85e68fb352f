// number.h: numbers that other programs write as text.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace zel {

// A text's leading decimal number; one too large ends at the nearest that fits, on 64-bit machines too. False, with
// the number as it was, if there is none.
template <class Int>
[[nodiscard]] bool read_number(const char* text, Int* number) noexcept {
  using Limits = std::numeric_limits<Int>;
  char* end = nullptr;
  const long long value = strtoll(text, &end, 10);
  if (end == text) return false;
  *number = static_cast<Int>(std::clamp<long long>(value, Limits::min(), Limits::max()));
  return true;
}

// The same, 0 if there is none.
template <class Int>
Int leading_number(const char* text) noexcept {
  Int number = 0;
  static_cast<void>(read_number(text, &number));
  return number;
}

}  // namespace zel
