// router_client.h: the box's way to its router's state.
#pragma once
#include <string>

#include "../support/json.h"

namespace routerbox {

// All throw Failure, with one of Status.
class RouterClient {
 public:
  // A member of the state, its path with dots ("WAN.WAN_IP", "DiskInfo.0"); empty: all of it.
  Json state(const std::string& path) const;
  // By a JSON merge patch.
  void change(const Json& patch) const;
  // One member that exists; a text that is no JSON stands for itself. {"path", "before", "value"}.
  Json set(const std::string& path, const Json& value) const;
  // Adds the partition, or takes it away.
  void change_disk(const std::string& name, bool add) const;
};

}  // namespace routerbox
