#include "events.h"

#include <algorithm>

namespace routerbox::router {
namespace {

constexpr int kDisk = 0, kWan = 1, kHome = 2;
constexpr int kAdded = 0, kRemoved = 1, kUp = 256, kDown = 257, kHomeChanged = 512;

bool is_above_zero(const Json& state, const char* member) {
  const Json value = state.at("WAN").value(member, Json());
  return value.is_number() && value > 0;
}

bool is_up(const Json& state) {
  return is_above_zero(state, "WAN_NET") && is_above_zero(state, "WAN_LINE");
}

std::vector<std::string> partition_names(const Json& state) {
  std::vector<std::string> names;
  for (const Json& disk : state.at("DiskInfo"))
    if (disk.is_object() && disk.contains("Partition") && disk["Partition"].is_string())
      names.push_back(disk["Partition"]);
  return names;
}

// An event for each of these names that is not among the others.
void add_missing(const std::vector<std::string>& names, const std::vector<std::string>& others, int subevent,
                 std::vector<Event>* events) {
  for (const std::string& name : names)
    if (std::find(others.begin(), others.end(), name) == others.end())
      events->push_back({kDisk, subevent, name});
}

}  // namespace

std::vector<Event> events_between(const Json& before, const Json& after) {
  std::vector<Event> events;
  if (is_up(before) && !is_up(after)) events.push_back({kWan, kDown, "down"});
  if (!is_up(before) && is_up(after)) events.push_back({kWan, kUp, "up"});
  add_missing(partition_names(after), partition_names(before), kAdded, &events);
  add_missing(partition_names(before), partition_names(after), kRemoved, &events);
  if (before.at("WIFIStatus") != after.at("WIFIStatus")) events.push_back({kHome, kHomeChanged, "wifi"});
  return events;
}

Json json_of(const std::vector<Event>& events) {
  Json list = Json::array();
  for (const Event& event : events)
    list.push_back({{"event", event.event}, {"subevent", event.subevent}, {"data", event.data}});
  return {{"events", list}};
}

}  // namespace routerbox::router
