// whole_number.h: whole numbers as people and programs write them.
#pragma once
#include <charconv>
#include <optional>
#include <string_view>

namespace routerbox {

// None for a text that is more than the number, and for one that does not fit.
template <class Number>
std::optional<Number> whole_number(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

}  // namespace routerbox
