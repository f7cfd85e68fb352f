#include "run.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {
int shell_status(int status) {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void name_the_box() {
  ::setenv("ROUTERBOX", TEST_BIN "/routerbox", 1);
  ::setenv("STATE", TEST_DATA "/../../routerbox/router/state.json", 1);
  ::setenv("PACKAGES", TEST_DATA "/../support/packages.json", 1);
}
}  // namespace

Outcome run(const std::string& line) {
  name_the_box();
  ::setenv("LINE", line.c_str(), 1);
  std::FILE* const stream = ::popen("exec timeout -k 5 30 sh -c \"$LINE\" 2>&1", "r");
  if (stream == nullptr) return {-1, "no shell"};
  Outcome outcome;
  char block[4096];
  for (size_t count; (count = std::fread(block, 1, sizeof block, stream)) > 0;)
    outcome.output.append(block, count);
  outcome.status = shell_status(::pclose(stream));
  return outcome;
}

Running::Running(const std::string& line) {
  name_the_box();
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
  process_ = ::fork();
  if (process_ == 0) {
    // Also on a descriptor that the box gives to its background programs unchanged.
    for (const int copy : {STDOUT_FILENO, STDERR_FILENO, 9}) ::dup2(ends[1], copy);
    ::execl("/bin/sh", "sh", "-c", ("exec " + line).c_str(), nullptr);
    ::_exit(127);
  }
  ::close(ends[1]);
  output_ = ends[0];
}

bool Running::read_some() {
  pollfd readable{output_, POLLIN, 0};
  if (::poll(&readable, 1, 20000) <= 0) return false;
  char block[4096];
  const ssize_t count = ::read(output_, block, sizeof block);
  if (count > 0) text_.append(block, static_cast<size_t>(count));
  at_end_ = count <= 0;
  return count > 0;
}

bool Running::says(const std::string& text) {
  while (text_.find(text) == std::string::npos)
    if (!read_some()) return false;
  return true;
}

bool Running::silent() {
  while (read_some()) {
  }
  return at_end_;
}

int Running::wait() {
  int status = 0;
  ::waitpid(process_, &status, 0);
  ::close(output_);
  return shell_status(status);
}

HostFolder::HostFolder() {
  char name[] = "/tmp/routerbox-test-XXXXXX";
  path_ = ::mkdtemp(name);
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
