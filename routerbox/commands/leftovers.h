// leftovers.h: processes that a test has left on the machine.
#pragma once
#include <string>
#include <vector>

namespace routerbox {

// Set to the box's name in all that a test starts.
inline constexpr const char* kTestVariable = "ROUTERBOX_TEST";

// Kills the processes that have the variable with this value, or with one that begins so, and names them:
// "sleep 1000 (process 4711)". Not this process.
std::vector<std::string> kill_leftovers(const std::string& value, bool begins_so);

}  // namespace routerbox
