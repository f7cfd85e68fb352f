#include "clients.h"

#include <pwd.h>

#include <cstdio>
#include <optional>
#include <string_view>

#include "../support/failure.h"
#include "../support/whole_number.h"
#include "../trace/peers.h"

namespace routerbox::bus {
namespace {

constexpr std::string_view kObject = "zel_";

std::optional<uid_t> uid_of(const std::string& user) {
  if (const passwd* const account = getpwnam(user.c_str())) return account->pw_uid;
  return whole_number<uid_t>(user);
}

}  // namespace

void Clients::add_object(uint32_t client, const std::string& path) {
  const std::string plugin = owner(path);
  if (plugin != path) learn(client, plugin);
}

std::string Clients::owner(const std::string& object) const {
  if (!object.starts_with(kObject)) return object;
  try {
    for (const Plugin& plugin : read_roster(folder_).plugins)
      if (object.substr(kObject.size()) == plugin.appid) return plugin.name;
  } catch (const Failure&) {
    return object;  // its name is better than nothing
  }
  return object;
}

void Clients::add_account(uint32_t client, const std::string& user) {
  if (user.empty() || names_.count(client) > 0) return;
  if (const std::optional<uid_t> uid = uid_of(user)) learn(client, name_of(uid, folder_));
}

std::string Clients::name(uint32_t client) const {
  const auto found = names_.find(client);
  if (found != names_.end()) return found->second;
  char number[32];
  std::snprintf(number, sizeof number, "client %08x", client);
  return number;
}

void Clients::learn(uint32_t client, const std::string& name) {
  constexpr size_t kMost = 10'000;  // clients that came and went
  if (names_.size() >= kMost) names_.clear();
  names_[client] = name;
}

}  // namespace routerbox::bus
