// What the processes that can be seen hold in memory, by program.
#pragma once

#include <map>
#include <string>

namespace process_memory {

struct Sum {
  int processes = 0;
  long kib = 0;  // resident and private to the process
};

using Usage = std::map<std::string, Sum>;  // by the program's name

Usage usage();

}  // namespace process_memory
