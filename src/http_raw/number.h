// number.h: numbers as the other side wrote them.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace zel::http {

// A long is wider on a PC than on the router; both give the router's results.
inline int as_int(long number) noexcept {
  return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

// The decimal number that begins a text, 0 when none does.
inline int decimal(const char* text) noexcept {
  return as_int(strtol(text, nullptr, 10));
}

}  // namespace zel::http
