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
  if (user.empty() || known_name(client) != nullptr) return;
  if (const std::optional<uid_t> uid = uid_of(user)) learn(client, name_of(uid, folder_));
}

std::string Clients::name(uint32_t client) {
  if (const std::string* const known = known_name(client)) return *known;
  char number[32];
  std::snprintf(number, sizeof number, "client %08x", client);
  return number;
}

const std::string* Clients::known_name(uint32_t client) {
  if (const auto found = recent_.find(client); found != recent_.end()) return &found->second;
  const auto found = older_.find(client);
  if (found == older_.end()) return nullptr;
  learn(client, std::string(found->second));
  return &recent_[client];
}

void Clients::learn(uint32_t client, const std::string& name) {
  constexpr size_t kMost = 500;
  if (recent_.size() >= kMost) {
    older_ = std::move(recent_);
    recent_.clear();
  }
  recent_[client] = name;
}

void Clients::forget() {
  recent_.clear();
  older_.clear();
}

}  // namespace routerbox::bus
