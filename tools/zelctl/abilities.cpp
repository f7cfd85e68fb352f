#include "abilities.h"

#include <cstdlib>
#include <cstring>

#include "failure.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kPrefix = "ability_";

// The bits from the first to the last of "10-12", or of a single ability; a name has no "-", so the first one is a
// range's.
uint32_t bits_of_item(const perm_table& table, const std::string& item) {
  const size_t dash = std::strcspn(item.c_str(), "-");
  const int first = ability_from(table, std::string(item.c_str(), dash));
  const int last = dash != item.size() ? ability_from(table, item.c_str() + dash + 1) : first;
  if (last < first) fail(kUsage, "Turn it round.", "the range '%s' ends before it begins", item.c_str());
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
    const char* const comma = list.empty() ? "" : ",";
    append(&list, last > first ? "%s%d-%d" : "%s%d", comma, first, last);
    first = last;
  }
  return list.empty() ? "none" : list;
}

int ability_from(const perm_table& table, const std::string& text) {
  uint64_t number = 0;
  if (number_from(text, &number) && number >= 1 && number <= kAbilities) return static_cast<int>(number);
  int found = 0;
  each_ability(table, [&](const perm_ability_info& ability) {
    const std::string name = text_of(ability.permname);
    if (name == text || short_name(name) == text) found = ability.permid;
  });
  if (found != 0) return found;
  fail(kUsage, "Name one by its number or its name: ability_wan, or wan. All of them: zelctl perm abilities",
       "there is no ability '%s'", text.c_str());
}

uint32_t bits_from(const perm_table& table, const char* text) {
  if (std::strcmp(text, "all") == 0) return UINT32_MAX;
  if (std::strcmp(text, "none") == 0) return 0;
  if (std::strncmp(text, "0x", 2) == 0) {
    const size_t digits = std::strspn(text + 2, "0123456789abcdefABCDEF");
    if (digits >= 1 && digits <= 8 && text[2 + digits] == '\0')
      return static_cast<uint32_t>(std::strtoul(text + 2, nullptr, 16));
  }
  uint32_t bits = 0;
  for (;; ++text) {
    const size_t length = std::strcspn(text, ",");
    bits |= bits_of_item(table, std::string(text, length));
    text += length;
    if (*text == '\0') return bits;
  }
}

std::string ability_name(const perm_table& table, int ability) {
  std::string name = "?";
  each_ability(table, [&](const perm_ability_info& candidate) {
    if (candidate.permid == ability) name = text_of(candidate.permname);
  });
  return name;
}

const char* short_name(const std::string& name) {
  return name.c_str() + (std::string_view(name).starts_with(kPrefix) ? std::strlen(kPrefix) : 0);
}

}  // namespace zelctl
