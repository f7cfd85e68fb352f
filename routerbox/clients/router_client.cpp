#include "router_client.h"

#include <httplib.h>

#include <algorithm>
#include <sstream>

#include "../support/failure.h"
#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"

namespace routerbox {
namespace {

constexpr const char* kStatePath = "/box/state";
constexpr time_t kLimitSeconds = 5;

std::string body_of(const httplib::Result& result) {
  if (!result)
    throw Failure("the box's router does not answer; routerbox restart router starts it anew", kFailed);
  if (result->status != 200) throw Failure("the router refuses: " + result->body, kNo);
  return result->body;
}

httplib::Client client_of_router() {
  httplib::Client client("127.0.0.1", kRouterPort);
  client.set_read_timeout(kLimitSeconds);
  return client;
}

std::vector<std::string> steps_of(const std::string& path) {
  std::vector<std::string> steps;
  std::istringstream text(path);
  for (std::string step; std::getline(text, step, '.');) steps.push_back(step);
  return steps;
}

std::vector<std::string> members_of(const Json& json) {
  std::vector<std::string> names;
  size_t index = 0;
  if (json.is_array())
    while (names.size() < json.size()) names.push_back(std::to_string(index++));
  if (json.is_object())
    for (const auto& [key, value] : json.items()) names.push_back(key);
  return names;
}

// Throws Failure with the nearest names when the document has no such member.
Json& member_of(Json* document, const std::string& path) {
  Json* place = document;
  for (const std::string& step : steps_of(path)) {
    const std::vector<std::string> names = members_of(*place);
    const auto found = std::find(names.begin(), names.end(), step);
    if (found == names.end())
      throw Failure("the state has no '" + path + "': '" + step + "' is not there" +
                        (names.empty() ? ", nothing is below it" : advice_for(step, names)),
                    kNo);
    place = place->is_array() ? &place->at(static_cast<size_t>(found - names.begin())) : &place->at(step);
  }
  return *place;
}

}  // namespace

Json RouterClient::state(const std::string& path) const {
  Json document = Json::parse(body_of(client_of_router().Get(kStatePath)));
  return member_of(&document, path);
}

void RouterClient::change(const Json& patch) const {
  body_of(client_of_router().Patch(kStatePath, text_of(patch), "application/json"));
}

Json RouterClient::set(const std::string& path, const Json& value) const {
  Json document = state({});
  Json& member = member_of(&document, path);
  const Json before = member;
  const Json read = value.is_string() ? Json::parse(value.get<std::string>(), nullptr, false) : value;
  // What was a text stays one: "1" may be a name.
  const bool text = value.is_string() && (before.is_string() || read.is_discarded());
  member = text ? value : read;
  const Json result = {{"path", path}, {"before", before}, {"value", member}};
  const std::string top = steps_of(path).at(0);
  change({{top, document.at(top)}});
  return result;
}

void RouterClient::change_disk(const std::string& name, bool add) const {
  if (name.empty()) throw Failure("a disk needs a name, such as sda1", kWrongCommandLine);
  Json disks = state("DiskInfo");
  std::vector<std::string> names;
  for (const Json& disk : disks) names.push_back(disk.value("Partition", ""));
  const auto found = std::find(names.begin(), names.end(), name);
  if (add && found != names.end()) throw Failure("the router has the disk " + name + " already", kNo);
  if (!add && found == names.end())
    throw Failure("the router has no disk '" + name + "'" + (names.empty() ? "" : advice_for(name, names)),
                  kNo);
  if (add)
    disks.push_back({{"Partition", name}, {"Used", "0"}, {"Available", "4194304"}});
  else
    disks.erase(static_cast<size_t>(found - names.begin()));
  change({{"DiskInfo", disks}});
}

}  // namespace routerbox
