// number.h: numbers that other programs write as text.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace zel {

// A text's leading decimal number, 0 if it has none; one too large ends at the nearest that fits, on 64-bit
// machines too.
template <class Int>
Int leading_number(const char* text) noexcept {
  using Limits = std::numeric_limits<Int>;
  return static_cast<Int>(std::clamp<long long>(strtoll(text, nullptr, 10), Limits::min(), Limits::max()));
}

}  // namespace zel
