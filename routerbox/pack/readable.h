// readable.h: a packed plug-in as people read it.
#pragma once
#include <string>
#include <vector>

#include "../support/json.h"
#include "../support/nearest.h"

namespace routerbox::pack {

// "weather (appid 3001, user 10001) for mipsel: 3 files, 20480 bytes", and what it may do.
inline std::string readable(const Json& package) {
  const std::vector<std::string> abilities = package.at("abilities");
  return package.at("plugin").get<std::string>() + " (appid " + package.at("appid").get<std::string>() +
         ", user " + package.at("uid").dump() + ") for " + package.at("processor").get<std::string>() + ": " +
         package.at("files").dump() + " files, " + package.at("bytes").dump() + " bytes\nIt asks for " +
         (abilities.empty() ? "no abilities" : list_words(abilities)) + "\n";
}

}  // namespace routerbox::pack
