#include "packages.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <memory>
#include <set>
#include <sstream>

#include "failure.h"

namespace routerbox {
namespace {

struct DeleteTree {
  void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using JsonTree = std::unique_ptr<cJSON, DeleteTree>;

constexpr double kLargestUid = 4294967294.0;  // the last one means "no change" to the system calls

Package package_from(const cJSON* entry, const std::string& origin) {
  const cJSON* appid = cJSON_GetObjectItemCaseSensitive(entry, "appid");
  const cJSON* bits = cJSON_GetObjectItemCaseSensitive(entry, "abilitybits");
  const cJSON* uid = cJSON_GetObjectItemCaseSensitive(entry, "uid");
  if (!cJSON_IsString(appid) || !cJSON_IsNumber(bits) || !cJSON_IsNumber(uid))
    throw Failure(origin +
                  ": every plug-in needs \"appname\", \"appid\" (texts), \"abilitybits\" and \"uid\" "
                  "(numbers)");
  const std::string id = appid->valuestring;
  // The appid becomes an account name, a bus object name and an output prefix.
  if (id.empty() || id.size() > 63 || id.find_first_not_of("0123456789") != std::string::npos)
    throw Failure(origin + ": the appid '" + id + "' is not 1 to 63 decimal digits");
  if (uid->valuedouble < 0 || uid->valuedouble > kLargestUid)
    throw Failure(origin + ": the uid of " + id + " is no user id");
  return {id, static_cast<uid_t>(uid->valuedouble),
          static_cast<uint32_t>(static_cast<int64_t>(bits->valuedouble))};
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
  cJSON_ArrayForEach(entry, plugins) packages.push_back(package_from(entry, origin));
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
