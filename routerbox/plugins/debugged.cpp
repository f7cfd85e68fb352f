#include "debugged.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace routerbox {
namespace {

namespace fs = std::filesystem;

struct State {
  char letter = 0;
  pid_t session = 0;
};

State state_of(const fs::path& process) {
  std::ifstream file(process / "stat");
  std::string line;
  std::getline(file, line);
  // The program's name, in brackets, may have any letters.
  std::istringstream rest(line.substr(std::min(line.rfind(')') + 1, line.size())));
  State state;
  pid_t parent = 0, group = 0;
  rest >> state.letter >> parent >> group >> state.session;
  return state;
}

bool is_traced(const fs::path& process) {
  std::ifstream file(process / "status");
  for (std::string key; file >> key;) {
    pid_t tracer = 0;
    if (key == "TracerPid:" && file >> tracer) return tracer != 0;
  }
  return false;
}

}  // namespace

bool is_debugged(pid_t leader) {
  std::error_code ended;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc", ended)) {
    const State state = state_of(entry.path());
    if (state.session != leader) continue;
    if (state.letter == 'T' || state.letter == 't' || is_traced(entry.path())) return true;
  }
  return false;
}

}  // namespace routerbox
