#pragma once

#include <string>

namespace hostbus {

struct Options {
  std::string socket_path;
  bool built_in_path = true;  // no -s was given
  std::string faults_path;    // empty: none
  bool help = false;
};

extern const char kHelp[];

// Throws StartError when the command line makes no sense.
Options parse_options(int argc, char** argv);

}  // namespace hostbus
