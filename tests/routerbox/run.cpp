#include "run.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

Outcome run(const std::string& line) {
  setenv("ROUTERBOX", TEST_BIN "/routerbox", 1);
  setenv("PACKAGES", TEST_DATA "/../support/packages.json", 1);
  setenv("LINE", line.c_str(), 1);
  std::FILE* const stream = popen("exec timeout -k 5 30 sh -c \"$LINE\" 2>&1", "r");
  if (stream == nullptr) return {-1, "no shell"};
  Outcome outcome;
  char block[4096];
  for (size_t count; (count = std::fread(block, 1, sizeof block, stream)) > 0;)
    outcome.output.append(block, count);
  const int status = pclose(stream);
  outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return outcome;
}

void check(std::span<const Case> cases) {
  for (const Case& c : cases) {
    const Outcome outcome = run(c.line);
    EXPECT_EQ(c.status, outcome.status) << c.why << ": " << outcome.output;
    EXPECT_NE(std::string::npos, outcome.output.find(c.output)) << c.why << ": " << outcome.output;
  }
}

HostFolder::HostFolder() {
  char name[] = "/tmp/routerbox-test-XXXXXX";
  path_ = mkdtemp(name);
  fs::permissions(path_, fs::perms(0755));
}

HostFolder::~HostFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string HostFolder::file(const std::string& name, const std::string& text) const {
  std::ofstream(path(name)) << text;
  fs::permissions(path(name), fs::perms(0755));
  return path(name);
}
