#include "abilities.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "failure.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr std::string_view kPrefix = "ability_";

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// Bits `first` to `last`; a name has no "-", so the first one is a range's.
uint32_t bits_of_item(const Table& table, const std::string& item) {
  const size_t dash = item.find('-');
  const int first = ability_from(table, item.substr(0, dash));
  const int last = dash != std::string::npos ? ability_from(table, item.substr(dash + 1)) : first;
  if (last < first)
    throw Failure(kUsage, "the range '" + readable(item) + "' ends before it begins", "Turn it round.");
  uint32_t bits = 0;
  for (int ability = first; ability <= last; ++ability) bits |= 1U << static_cast<unsigned>(ability - 1);
  return bits;
}

}  // namespace

std::string ability_list(uint32_t bits) {
  std::string list;
  for (int first = 1; first <= kAbilities; ++first) {
    if (!holds(bits, first)) continue;
    int last = first;
    while (last < kAbilities && holds(bits, last + 1)) ++last;
    if (!list.empty()) list += ',';
    list += std::to_string(first);
    if (last > first) list += '-' + std::to_string(last);
    first = last;
  }
  return list.empty() ? "none" : list;
}

int ability_from(const Table& table, const std::string& text) {
  uint64_t number = 0;
  if (number_from(text, &number) && number >= 1 && number <= kAbilities) return static_cast<int>(number);
  for (const Ability& ability : table.abilities) {
    const std::string_view name = ability.name;
    const bool same =
        name == text || (name.substr(0, kPrefix.size()) == kPrefix && name.substr(kPrefix.size()) == text);
    if (same && ability.number >= 1 && ability.number <= kAbilities) return ability.number;
  }
  throw Failure(kUsage, "there is no ability '" + readable(text) + "'",
                "Name one by its number, 1 to 15, or its name: ability_wan, or wan. All of them: zelctl perm "
                "abilities");
}

uint32_t bits_from(const Table& table, const std::string& text) {
  if (text == "all") return UINT32_MAX;
  if (text == "none") return 0;
  if (text.starts_with("0x")) {
    uint32_t bits = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), bits, 16);
    if (error == std::errc{} && end == text.data() + text.size()) return bits;
  }
  uint32_t bits = 0;
  for (const std::string& item : split(text)) bits |= bits_of_item(table, item);
  return bits;
}

std::string ability_name(const Table& table, int ability) {
  const auto found = std::find_if(table.abilities.begin(), table.abilities.end(),
                                  [&](const Ability& candidate) { return candidate.number == ability; });
  return found != table.abilities.end() ? found->name : "?";
}

}  // namespace zelctl
