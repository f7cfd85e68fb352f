#include "packages.h"

#include <cjson/cJSON.h>
#include <zel/perm.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

#include "../support/failure.h"
#include "base/json.h"

namespace routerbox {
namespace {

using zel::JsonTree;

constexpr double kLargestUid = 4294967294.0;  // the last one means "no change" to the system calls
constexpr double kLowestBits = -2147483648.0;
constexpr double kLargestBits = 4294967295.0;

// One element of the file's list, and where it stands, for what is wrong with it.
class Entry {
 public:
  Entry(const cJSON* json, const std::string& origin, size_t number)
      : json_(json), place_(origin + ": plug-in " + std::to_string(number)) {}

  std::string text(const char* member) const {
    const cJSON* const item = cJSON_GetObjectItemCaseSensitive(json_, member);
    if (!cJSON_IsString(item)) refuse(std::string("needs \"") + member + "\", a text");
    return item->valuestring;
  }

  double whole_number(const char* member, double least, double most) const {
    const cJSON* const item = cJSON_GetObjectItemCaseSensitive(json_, member);
    const double value = cJSON_IsNumber(item) ? item->valuedouble : least - 1;
    if (value < least || value > most || value != std::floor(value))
      refuse(std::string("needs \"") + member + "\", a whole number from " +
             std::to_string(static_cast<int64_t>(least)) + " to " +
             std::to_string(static_cast<int64_t>(most)));
    return value;
  }

  [[noreturn]] void refuse(const std::string& why) const { throw Failure(place_ + " " + why); }

 private:
  const cJSON* json_;
  std::string place_;
};

// The router's own records have user 0, which no plug-in may have: it would be taken for the first of them.
bool is_routers_own(const std::string& appid) {
  return appid == PERM_DAEMON_APPID || appid == PERM_MANAGER_APPID;
}

Package package_from(const Entry& entry) {
  const std::string id = entry.text("appid");
  const std::string name = entry.text("appname");
  // The appid becomes an account name, a bus object name and an output prefix.
  if (id.empty() || id.size() >= PERM_APPID_SIZE || id.find_first_not_of("0123456789") != std::string::npos)
    entry.refuse("has the appid '" + id + "', which is not 1 to 63 decimal digits");
  return {name, id, static_cast<uid_t>(entry.whole_number("uid", is_routers_own(id) ? 0 : 1, kLargestUid)),
          static_cast<uint32_t>(
              static_cast<int64_t>(entry.whole_number("abilitybits", kLowestBits, kLargestBits)))};
}

void refuse_second(const Entry& entry, const Package& package, const std::vector<Package>& earlier) {
  for (const Package& other : earlier) {
    if (other.appid == package.appid) entry.refuse("has the appid " + other.appid + " of an earlier one");
    if (other.uid == package.uid && package.uid != 0)
      entry.refuse("has the uid " + std::to_string(other.uid) + " of plug-in " + other.appid +
                   "; the router tells plug-ins apart by it");
  }
}

// The ids in the third column of passwd and group.
std::set<std::string> ids_in(const std::string& file) {
  std::set<std::string> ids;
  std::istringstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream columns(line);
    std::string name, secret, id;
    if (std::getline(columns, name, ':') && std::getline(columns, secret, ':') &&
        std::getline(columns, id, ':'))
      ids.insert(id);
  }
  return ids;
}

template <class Line>
std::string with_lines(std::string file, const std::vector<Package>& packages, Line line) {
  std::set<std::string> known = ids_in(file);
  if (!file.empty() && file.back() != '\n') file += '\n';
  for (const Package& package : packages)
    if (known.insert(std::to_string(package.uid)).second)
      file += line("zel" + package.appid, std::to_string(package.uid));
  return file;
}

}  // namespace

std::vector<Package> parse_packages(const std::string& text, const std::string& origin) {
  const JsonTree tree(cJSON_ParseWithLength(text.data(), text.size()));
  const cJSON* plugins = cJSON_GetObjectItemCaseSensitive(tree.get(), "plugin");
  if (!cJSON_IsArray(plugins))
    throw Failure(origin + " is no package file; it must be a JSON object {\"plugin\": [...]}");
  std::vector<Package> packages;
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, plugins) {
    const Entry described(entry, origin, packages.size() + 1);
    const Package package = package_from(described);
    refuse_second(described, package, packages);
    packages.push_back(package);
  }
  return packages;
}

const Package& package_of(const std::vector<Package>& packages, const std::string& appid) {
  const auto found = std::find_if(packages.begin(), packages.end(),
                                  [&](const Package& package) { return package.appid == appid; });
  if (found == packages.end())
    throw Failure("no plug-in has the appid " + appid + "; name it in the file given with --packages");
  return *found;
}

std::string with_accounts(std::string passwd, const std::vector<Package>& packages) {
  return with_lines(std::move(passwd), packages, [](const std::string& name, const std::string& id) {
    return name + ":x:" + id + ":" + id + ":plug-in:/:/bin/sh\n";
  });
}

std::string with_groups(std::string group, const std::vector<Package>& packages) {
  return with_lines(std::move(group), packages,
                    [](const std::string& name, const std::string& id) { return name + ":x:" + id + ":\n"; });
}

}  // namespace routerbox
