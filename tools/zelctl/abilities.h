// abilities.h: sets of abilities as people write and read them.
#pragma once
#include "perm_table.h"

namespace zelctl {

// Those that are ever asked for; the other bits of a plug-in's word say nothing.
inline constexpr int kAbilities = PERM_ABILITY_COUNT;

inline bool holds(uint32_t bits, int ability) {
  return (bits >> static_cast<unsigned>(ability - 1) & 1U) != 0;
}

// "1,3-15", or "none".
std::string ability_list(uint32_t bits);

// One ability: its number, or its name with or without "ability_". Fails if there is none.
int ability_from(const perm_table& table, const std::string& text);

// "all", "none", 0x and the bits, or a list of abilities and ranges: "2,wan,10-12". Fails if it is none.
uint32_t bits_from(const perm_table& table, const char* text);

// "ability_wan", or "?" if the catalogue lacks it.
std::string ability_name(const perm_table& table, int ability);

// As people write it: "wan" of "ability_wan".
const char* short_name(const std::string& name);

}  // namespace zelctl
