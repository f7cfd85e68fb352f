// box.h: what process 1 of the box does, from its first step to its end.
#pragma once
#include <signal.h>

#include <string>
#include <vector>

#include "../plugins/packages.h"
#include "../plugins/plugins.h"
#include "../project/options.h"
#include "../services/service.h"
#include "../support/io.h"

namespace routerbox {

// Everything looked up on the host, before it is out of sight.
struct Plan {
  Options options;
  std::string packages_text, permissions_text;
  std::vector<Package> packages;
  std::vector<Service> services;
  std::vector<PluginRun> plugins;
  std::string folder;  // the current one
  std::string own;     // routerbox's
  std::string box;     // the box's name
  std::string zelctl;  // fills the permission table; empty: it stays unmade
  std::string boxbus;
  std::string valgrind;              // runs the plug-ins of this machine; empty: nothing does
  std::optional<Emulator> emulator;  // of the command
  std::string command;               // empty: the box runs until it is told to end
};

inline constexpr const char* kReady = "\n";

// What process 1 has from the outer process.
struct Ends {
  Descriptor outside;  // numbers of signals (processes/processes.h)
  Descriptor control;  // the control socket
  std::string folder;  // of the host, for the box's trace and roster
  Descriptor ready;    // gets kReady when all has started; may be none
};

// Throws Failure when a file or program is missing, before anything was made.
Plan make_plan(const Options& options);

// Runs the box as process 1 of its namespaces and returns its exit status.
int run_box(const Plan& plan, Ends ends, const sigset_t& mask);

}  // namespace routerbox
