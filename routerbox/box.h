// box.h: what process 1 of the box does, from its first step to its end.
#pragma once
#include <signal.h>

#include <string>
#include <vector>

#include "io.h"
#include "options.h"
#include "packages.h"
#include "services/service.h"

namespace routerbox {

// Everything looked up on the host, before it is out of sight.
struct Plan {
  Options options;
  std::string packages_text, permissions_text;
  std::vector<Package> packages;
  std::vector<Service> services;
  std::string folder;                // the current one
  std::string own;                   // routerbox's
  std::string zelctl;                // fills the permission table, absolute path; empty: it stays unmade
  std::string command;               // absolute paths, as the next ones
  std::vector<std::string> started;  // in the order of options.start
};

// Throws Failure when a file or program is missing, before anything was made.
Plan make_plan(const Options& options);

// Runs the box as process 1 of its namespaces and returns its exit status.
int run_box(const Plan& plan, Descriptor control, const sigset_t& mask);

}  // namespace routerbox
