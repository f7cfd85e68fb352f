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
  if (result->status != 200) throw Failure("the router refuses: " + reason_in(result->body), kNo);
  return result->body;
}

httplib::Client client_of_router() {
  httplib::Client client("127.0.0.1", kRouterPort);
  client.set_read_timeout(kLimitSeconds);
  return client;
}

void post(const char* path, const Json& wanted) {
  body_of(client_of_router().Post(path, text_of(wanted), "application/json"));
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
  const Json before = state(path);
  const Json read = value.is_string() ? Json::parse(value.get<std::string>(), nullptr, false) : value;
  // What was a text stays one: "1" may be a name.
  const bool text = value.is_string() && (before.is_string() || read.is_discarded());
  post("/box/set", {{"path", path}, {"value", text ? value : read}});
  return {{"path", path}, {"before", before}, {"value", state(path)}};
}

void RouterClient::change_disk(const std::string& name, bool add) const {
  post("/box/disk", {{add ? "add" : "remove", name}});
}

}  // namespace routerbox
