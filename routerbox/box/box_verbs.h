// box_verbs.h: what the verbs do in the box.
#pragma once
#include <functional>

#include "../clients/fault_verbs.h"
#include "../expect/expectations.h"
#include "../services/services.h"
#include "box.h"
#include "control.h"
#include "install.h"

namespace routerbox {

struct BoxParts {
  const Plan& plan;
  Processes& processes;
  Trace& trace;
  Plugins& plugins;
  Services& services;
  FaultVerbs& faults;
  Expectations& expectations;
  Installer& installer;
  std::function<void(size_t place)> start_plugin;  // and waits until it is served
};

ControlHandler box_verbs(const BoxParts& parts);

}  // namespace routerbox
