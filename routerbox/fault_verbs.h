// fault_verbs.h: the verbs that make the box's servers misbehave.
#pragma once
#include <string>

#include "bus_faults.h"
#include "http/json.h"

namespace routerbox {

// Throw Failure with one of Status.
class FaultVerbs {
 public:
  FaultVerbs(const Services& services, BusFaults& bus) : services_(services), bus_(bus) {}

  // {"service", "method", "kind", "count"}; the method "clear" takes the service's faults back.
  Json fault(const Json& arguments);
  // {"faults": [{"service", "method", "kind", "count", "played", ...}]}, of one service or all.
  Json faults(const Json& arguments) const;

 private:
  void check_service(const std::string& service) const;

  const Services& services_;
  BusFaults& bus_;
};

}  // namespace routerbox
