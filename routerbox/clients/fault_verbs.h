// fault_verbs.h: the verbs that make the box's servers misbehave.
#pragma once
#include <string>

#include "../support/json.h"
#include "bus_faults.h"

namespace routerbox {

// Throw Failure with one of Status.
class FaultVerbs {
 public:
  FaultVerbs(const Services& services, BusFaults& bus) : services_(services), bus_(bus) {}

  // {"service", "method", "kind", "count"}; the method "clear" takes the service's faults back.
  Json fault(const Json& arguments);
  // {"faults": [{"service", "method", "kind", "count", "played", ...}]}, of one service or all; of one also what its
  // faults can be for and are: "methods", which * means all of, and "kinds".
  Json faults(const Json& arguments) const;
  // The list of all services that run.
  Json faults_of_running() const;

 private:
  Json list_of(const std::string& service) const;  // empty: of all
  void add_faults(const std::string& service, Json* all) const;
  void check_service(const std::string& service) const;

  const Services& services_;
  BusFaults& bus_;
};

// What a fault of this service, which is not the bus, can be for.
std::vector<std::string> methods_of_service(const std::string& service);

}  // namespace routerbox
