// duration.h: times as people write them.
#pragma once
#include <charconv>
#include <chrono>
#include <optional>
#include <string_view>

namespace routerbox {

// "500ms", "9s", "1.5s", "2min"; none for anything else, also for a number without a unit.
inline std::optional<std::chrono::milliseconds> duration_from(std::string_view text) {
  constexpr struct {
    std::string_view unit;
    double ms;
  } kUnits[] = {{"ms", 1}, {"min", 60'000}, {"s", 1000}};
  constexpr double kMostMs = 86'400'000;
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  if (error != std::errc()) return std::nullopt;
  for (const auto& row : kUnits)
    if (row.unit == std::string_view(rest, static_cast<size_t>(end - rest)) && number >= 0 &&
        number * row.ms <= kMostMs)
      return std::chrono::milliseconds(static_cast<int64_t>(number * row.ms));
  return std::nullopt;
}

}  // namespace routerbox
