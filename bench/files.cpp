// Copying and checking a file of 256 MiB beside the system's own tools. In a box, whose /tmp is memory: what is
// compared is the work per byte, not the disk.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <zel/file.h>
#include "pairs.h"

namespace {

constexpr char kSource[] = "/tmp/source";
constexpr char kCopy[] = "/tmp/copy";
constexpr size_t kSize = 1U << 28;

void make_source() {
  std::vector<char> block(1U << 20);
  uint32_t number = 1;
  for (char& byte : block) byte = static_cast<char>((number = number * 1664525 + 1013904223) >> 24);
  FILE* const file = std::fopen(kSource, "we");
  for (size_t written = 0; file != nullptr && written < kSize; written += block.size()) {
    if (std::fwrite(block.data(), 1, block.size(), file) != block.size()) break;
  }
  if (file == nullptr || std::fclose(file) != 0) {
    std::perror(kSource);
    std::exit(1);
  }
}

void must(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

// Runs a program with its output going nowhere.
void run(std::vector<const char*> words) {
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", 1, 0);
  pid_t child = -1;
  int status = -1;
  const bool started =
      posix_spawnp(&child, words[0], &actions, nullptr, const_cast<char**>(words.data()), environ) == 0;
  must(started && waitpid(child, &status, 0) == child && status == 0, words[0]);
  posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

int main(int argc, char** argv) {
  make_source();
  pairs::compare(
      "zel_file_copy and cp, 256 MiB", [] { must(zel_file_copy(kSource, kCopy) == 0, "zel_file_copy"); },
      [] {
        run({"cp", kSource, kCopy});
      },
      [] { unlink(kCopy); });
  pairs::compare(
      "zel_check_file_md5 and md5sum, 256 MiB",
      [] {
        char digest[33];
        must(zel_check_file_md5(kSource, digest) == 0, "zel_check_file_md5");
      },
      [] {
        run({"md5sum", kSource});
      });
  char repetitions[] = "--benchmark_repetitions=7";
  std::vector<char*> options = {argv[0], repetitions};
  options.insert(options.end(), argv + 1, argv + argc);
  return pairs::run(static_cast<int>(options.size()), options.data());
}
