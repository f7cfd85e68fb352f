// options.h: the command line.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "project.h"

namespace routerbox {

struct Background {
  std::string appid;
  std::vector<std::string> words;  // program and arguments, never empty
};

struct Options {
  std::string packages;          // file of the host, may be empty
  std::string permissions;       // file of the host, may be empty
  std::string name;              // of the box; empty: one is made up
  std::string log;               // file of the host that gets the plug-ins' lines, may be empty
  std::string as;                // appid, empty: root of the box
  std::string bus;               // the broker's program, empty: hostbusd beside this one
  std::string router_state;      // file of the host, may be empty
  std::string router_log;        // file of the host, may be empty
  std::string downloads_folder;  // of the host, may be empty
  std::string files_folder;      // of the host, may be empty
  std::string target;            // whose build of the project's plug-ins runs; empty: this machine's
  std::string build;             // where that lies, absolute; empty: where box.toml says
  std::optional<Project> project;
  std::vector<Background> start;
  std::vector<std::string> keep;
  std::vector<OutsideHost> hosts;
  std::vector<std::string> target_roots;  // of the host, absolute
  std::vector<std::string> environment;   // NAME or NAME=VALUE, for the box's programs
  std::vector<std::string> command;       // empty: the box runs until it is told to end
  int console = -1;                       // port of the console, 0: any; below 0: there is none
  bool router = false;
  bool downloads = false;
  bool files = false;
  bool no_bus = false;
  bool no_perm = false;
  bool quiet = false;
  bool ignore_deaths = false;
  bool valgrind = false;
  bool json = false;  // what `up` prints
};

// Prints the help and ends the process for --help; throws Failure for a line that cannot be used.
Options read_options(int argc, char** argv);
// The same behind a verb, where no command is needed, and box.toml of the current folder, if there is one, tells what
// the box has unless options do.
Options read_run_options(int argc, char** argv);

// The name of a box for the project in the current folder; empty when there is no box.toml.
std::string project_name();

}  // namespace routerbox
