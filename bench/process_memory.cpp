#include "process_memory.h"

#include <cctype>
#include <filesystem>
#include <fstream>

namespace {

long private_kib(const std::filesystem::path& process) {
  std::ifstream file(process / "smaps_rollup");
  std::string word;
  long kib = 0;
  for (long value = 0; file >> word;) {
    if ((word == "Private_Clean:" || word == "Private_Dirty:") && file >> value) kib += value;
  }
  return kib;
}

}  // namespace

process_memory::Usage process_memory::usage() {
  Usage usage;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    if (std::isdigit(static_cast<unsigned char>(entry.path().filename().string().front())) == 0) continue;
    std::string name;
    std::getline(std::ifstream(entry.path() / "comm"), name);
    const long kib = private_kib(entry.path());
    if (kib == 0) continue;  // it has just ended
    usage[name].kib += kib;
    ++usage[name].processes;
  }
  return usage;
}
