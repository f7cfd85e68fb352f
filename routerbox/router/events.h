// events.h: what a router announces on the bus when something about it changes.
#pragma once
#include <string>
#include <vector>

#include "../support/json.h"

namespace routerbox::router {

// Numbers and text of the bus event "zel.event".
struct Event {
  int event = 0, subevent = 0;
  std::string data;
};

// In this order:
//   WAN   257, "down", when WAN_NET or WAN_LINE has become 0 and neither was before; 256, "up", when both are
//         above 0 again
//   disk  0 for each partition that is new, 1 for each that is gone; its name
//   home  512, "wifi", when the networks are others
std::vector<Event> events_between(const Json& before, const Json& after);

// {"events": [{"event": 1, "subevent": 257, "data": "down"}]}
Json json_of(const std::vector<Event>& events);

}  // namespace routerbox::router
