// options.h: the command line.
#pragma once
#include <string>
#include <vector>

namespace routerbox {

struct Background {
  std::string appid;
  std::vector<std::string> words;  // program and arguments, never empty
};

struct Options {
  std::string packages;          // file of the host, may be empty
  std::string permissions;       // file of the host, may be empty
  std::string as;                // appid, empty: root of the box
  std::string broker;            // empty: hostbusd beside this program
  std::string router_state;      // file of the host, may be empty
  std::string router_log;        // file of the host, may be empty
  std::string downloads_folder;  // of the host, may be empty
  std::string files_folder;      // of the host, may be empty
  std::vector<Background> start;
  std::vector<std::string> keep;
  std::vector<std::string> command;  // never empty
  bool router = false;
  bool downloads = false;
  bool files = false;
  bool no_broker = false;
  bool no_perm = false;
  bool quiet = false;
};

// Prints the help and ends the process for --help; throws Failure for a line that cannot be used.
Options read_options(int argc, char** argv);

}  // namespace routerbox
