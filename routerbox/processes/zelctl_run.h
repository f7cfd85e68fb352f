// zelctl_run.h: the permission table in force, by the program that looks after it on the router.
#pragma once
#include <string>
#include <vector>

#include "processes.h"

namespace routerbox {

// `zelctl perm` with these words; appends what it says to `output` and returns its exit status.
inline int run_zelctl(Processes& processes, const std::string& zelctl, const std::vector<std::string>& words,
                      std::string* output) {
  Launch launch{zelctl, {"zelctl", "perm"}, {}, [output](std::string_view piece) { *output += piece; }};
  launch.words.insert(launch.words.end(), words.begin(), words.end());
  return processes.wait(processes.start(launch));
}

}  // namespace routerbox
