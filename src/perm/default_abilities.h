// default_abilities.h: the catalogue a router has when nobody wrote it another one.
#pragma once

namespace zel {

struct DefaultAbility {
  const char* name;
  const char* label;
  const char* description;
};

inline constexpr int kDefaultAbilityCount = 15;
inline constexpr int kDefaultAbilityLevel = 3;

// Element i describes ability i + 1.
extern const DefaultAbility kDefaultAbilities[kDefaultAbilityCount];

}  // namespace zel
