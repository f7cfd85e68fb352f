// Runs a target over the files of the folders given, where there is no libFuzzer.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "input.h"

int main(int argc, char** argv) {
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string content(std::istreambuf_iterator<char>(file), {});
      std::printf("%s\n", entry.path().filename().c_str());
      std::fflush(stdout);
      // A copy of exact size, as libFuzzer makes one.
      Exact input(content);
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
      ++inputs;
    }
  }
  return inputs > 0 ? 0 : 1;
}
