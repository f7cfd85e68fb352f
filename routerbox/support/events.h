// events.h: the router's events, by the names that people use.
#pragma once
#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace routerbox {

struct EventName {
  const char* name;
  int number, first_sub, subs;
};
inline constexpr EventName kRouterEvents[] = {{"disk", 0, 0, 2}, {"wan", 1, 256, 2}, {"home", 2, 512, 1}};

inline std::vector<std::string> event_names() {
  std::vector<std::string> names;
  for (const EventName& event : kRouterEvents) names.emplace_back(event.name);
  return names;
}

// Null: there is none.
inline const EventName* find_event(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kRouterEvents), std::end(kRouterEvents),
                                         [&](const EventName& event) { return name == event.name; });
  return found == std::end(kRouterEvents) ? nullptr : found;
}

// Why it has no such subevent; empty when it has.
inline std::string fault_of_subevent(const EventName& event, int sub) {
  if (sub >= event.first_sub && sub < event.first_sub + event.subs) return {};
  return std::string("the event ") + event.name + " has no subevent " + std::to_string(sub) + "; there is " +
         std::to_string(event.first_sub) +
         (event.subs > 1 ? " and " + std::to_string(event.first_sub + 1) : std::string());
}

}  // namespace routerbox
