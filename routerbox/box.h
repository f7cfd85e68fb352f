// box.h: what process 1 of the box does, from its first step to its end.
#pragma once
#include <signal.h>

#include <string>
#include <vector>

#include "downloads.h"
#include "file_server.h"
#include "management.h"
#include "options.h"
#include "owners.h"
#include "packages.h"

namespace routerbox {

// Everything looked up on the host, before it is out of sight.
struct Plan {
  Options options;
  std::string packages_text, permissions_text;
  std::vector<Package> packages;
  std::string folder;  // the current one
  std::string own;     // routerbox's
  std::string broker;  // absolute paths from here on
  Management management;
  FileServer files;
  Downloads downloads;
  std::string command;
  std::vector<std::string> started;  // in the order of options.start
};

// Throws Failure when a file or program is missing, before anything was made.
Plan make_plan(const Options& options);

// Runs the box as process 1 of its namespaces and returns its exit status.
int run_box(const Plan& plan, Descriptor control, const sigset_t& mask);

}  // namespace routerbox
