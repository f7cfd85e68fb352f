// default_abilities.h: the catalogue a router has when nobody wrote it another one.
#pragma once

#include <zel/perm.h>

namespace zel {

struct DefaultAbility {
  const char* name;
  const char* label;
  const char* description;
};

inline constexpr int kDefaultAbilityLevel = 3;

// Element i describes ability i + 1.
extern const DefaultAbility kDefaultAbilities[PERM_ABILITY_COUNT];

}  // namespace zel
