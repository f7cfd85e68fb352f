#include "changes.h"

#include <algorithm>
#include <cctype>
#include <functional>

#include "../support/failure.h"
#include "../support/nearest.h"

namespace routerbox::router {
namespace {

const Json& member(const Json& wanted, const char* key, const char* example) {
  if (!wanted.is_object() || !wanted.contains(key)) throw Failure(std::string("this takes ") + example);
  return wanted.at(key);
}

std::string text_member(const Json& wanted, const char* key, const char* example) {
  const Json& value = member(wanted, key, example);
  if (!value.is_string()) throw Failure(std::string("this takes ") + example);
  return value.get<std::string>();
}

std::vector<std::string> keys_of(const Json& value) {
  std::vector<std::string> keys;
  if (value.is_object())
    for (const auto& [key, inner] : value.items()) keys.push_back(key);
  if (value.is_array())
    for (size_t i = 0; i < value.size(); ++i) keys.push_back(std::to_string(i));
  return keys;
}

Json* step(Json* value, const std::string& word, const std::string& path) {
  const std::vector<std::string> keys = keys_of(*value);
  const auto found = std::find(keys.begin(), keys.end(), word);
  if (found == keys.end())
    throw Failure("the state has no " + path + ": there is no '" + word + "'" + advice_for(word, keys));
  return value->is_object() ? &(*value)[word] : &(*value)[static_cast<size_t>(found - keys.begin())];
}

Json* place_of(const std::string& path, Json* state) {
  Json* place = state;
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find('.', begin), path.size());
    place = step(place, path.substr(begin, end - begin), path);
    begin = end + 1;
  }
  return place;
}

// The value in the form that the member has now.
Json as_before(const Json& before, const Json& value, const std::string& path) {
  const auto kind = [](const Json& json) { return json.is_number() ? "number" : json.type_name(); };
  if (before.is_string() && value.is_number()) return value.dump();
  if (before.is_number() && value.is_string()) {
    const Json number = Json::parse(value.get<std::string>(), nullptr, false);
    if (number.is_number()) return number;
  }
  if (kind(before) != std::string(kind(value)))
    throw Failure(path + " is a " + kind(before) + ", and " + text_of(value) + " is none");
  return value;
}

std::vector<std::string> partitions(const Json& disks) {
  std::vector<std::string> names;
  for (const Json& disk : disks) {
    const Json name = disk.is_object() ? disk.value("Partition", Json()) : Json();
    names.push_back(name.is_string() ? name.get<std::string>() : "");
  }
  return names;
}

// Looks like a FAT's, and is the same whenever the partition is added.
std::string uuid_for(const std::string& name) {
  const size_t hash = std::hash<std::string>()(name);
  char text[16];
  std::snprintf(text, sizeof text, "%04X-%04X", static_cast<unsigned>(hash & 0xFFFF),
                static_cast<unsigned>(hash >> 16 & 0xFFFF));
  return text;
}

void add_disk(const std::string& name, Json* disks) {
  const auto fits = [](unsigned char c) { return std::isalnum(c) != 0; };
  if (name.empty() || name.size() > 32 || !std::all_of(name.begin(), name.end(), fits))
    throw Failure("'" + name + "' is no partition's name; write one such as sdb1");
  const std::vector<std::string> names = partitions(*disks);
  if (std::find(names.begin(), names.end(), name) != names.end())
    throw Failure("there is a partition " + name + " already; remove it first");
  disks->push_back({{"Partition", name}, {"Used", "0"}, {"Available", "1048576"}, {"UUID", uuid_for(name)}});
}

void remove_disk(const std::string& name, Json* disks) {
  const std::vector<std::string> names = partitions(*disks);
  const auto found = std::find(names.begin(), names.end(), name);
  if (names.empty()) throw Failure("the router has no disk to remove");
  if (found == names.end()) throw Failure("there is no partition '" + name + "'" + advice_for(name, names));
  disks->erase(static_cast<size_t>(found - names.begin()));
}

}  // namespace

void set_member(const Json& wanted, Json* state) {
  constexpr const char* kExample = R"({"path": "WAN.WAN_IP", "value": "203.0.113.9"})";
  const std::string path = text_member(wanted, "path", kExample);
  Json* const place = place_of(path, state);
  *place = as_before(*place, member(wanted, "value", kExample), path);
}

void set_link(const Json& wanted, Json* state) {
  constexpr const char* kExample = R"({"up": true} or {"up": false})";
  const Json& up = member(wanted, "up", kExample);
  if (!up.is_boolean()) throw Failure(std::string("this takes ") + kExample);
  Json& wan = (*state)["WAN"];
  wan["WAN_NET"] = up.get<bool>() ? 1 : 0;
  if (up.get<bool>()) wan["WAN_LINE"] = 1;
}

void change_disks(const Json& wanted, Json* state) {
  constexpr const char* kExample = R"({"add": "sdb1"} or {"remove": "sdb1"})";
  if (wanted.is_object() && wanted.contains("add"))
    return add_disk(text_member(wanted, "add", kExample), &(*state)["DiskInfo"]);
  remove_disk(text_member(wanted, "remove", kExample), &(*state)["DiskInfo"]);
}

}  // namespace routerbox::router
