#include "filter.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "clock.h"
#include "handles.h"
#include "output.h"

namespace zelctl {
namespace {

[[noreturn]] void become_command(const char* command, int input, int output) {
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  setpgid(0, 0);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  if (report_fd() != -1) dup2(report_fd(), STDERR_FILENO);
  execl("/bin/sh", "sh", "-c", command, nullptr);
  _exit(127);
}

// Until the other end is closed. False when the time is over before.
bool read_all(int fd, unsigned seconds, std::string* text) {
  const int64_t end = now_ms() + seconds * 1000;
  for (char block[4096];;) {
    const int64_t left = end - now_ms();
    pollfd wait{fd, POLLIN, 0};
    if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) == 0) return false;
    const ssize_t count = retry([&] { return read(fd, block, sizeof block); });
    if (count <= 0) return true;
    text->append(block, static_cast<size_t>(count));
  }
}

}  // namespace

Filtered filter(const char* command, std::string_view input, unsigned seconds) {
  Filtered result{"", 126};
  // A file, so that neither waits for the other to read.
  const File file(std::tmpfile());
  int ends[2];
  if (!file || std::fwrite(input.data(), 1, input.size(), file.get()) != input.size() ||
      std::fflush(file.get()) != 0 || pipe2(ends, O_CLOEXEC) != 0)
    return result;
  const Descriptor output(ends[0]);
  Descriptor childs_output(ends[1]);
  std::rewind(file.get());
  const pid_t child = fork();
  if (child == -1) return result;
  if (child == 0) become_command(command, fileno(file.get()), childs_output.get());
  childs_output.reset();
  const bool whole = read_all(output.get(), seconds, &result.text);
  if (!whole) kill(-child, SIGKILL);
  int status = 0;
  retry([&] { return waitpid(child, &status, 0); });
  result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  if (!whole) result.status = 124;
  if (std::string_view(result.text).ends_with('\n')) result.text.pop_back();
  return result;
}

}  // namespace zelctl
