#include "output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>

#include "ending.h"
#include "handles.h"
#include "text.h"

namespace zelctl {
namespace {

Manner wanted;
int result_to = STDOUT_FILENO;  // -1 when the caller has closed it
int report_to = STDERR_FILENO;

bool drawn = false;

// As much at a time as is written at once or not at all. A reader that takes nothing can be waited for no longer when
// the user has enough of it.
bool write_whole(int fd, std::string_view text) {
  const Undivided scope;
  errno = EBADF;
  while (fd != -1 && !text.empty()) {
    pollfd wait{fd, POLLOUT, 0};
    if (retry([&] { return ppoll(&wait, 1, nullptr, &scope.waiting()); }) == -1) return false;
    const ssize_t count =
        retry([&] { return write(fd, text.data(), std::min<size_t>(text.size(), PIPE_BUF)); });
    if (count == -1) return false;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return text.empty();
}

void point(int fd, int target) {
  if (fd != target) dup2(target, fd);
}

}  // namespace

const Manner& manner() {
  return wanted;
}

void want_json(bool json) {
  wanted.json = json;
}

void take_streams(const Manner& manner) {
  wanted = manner;
  result_to = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  report_to = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const int target = wanted.verbose && report_to != -1 ? report_to : nowhere;
  if (target == -1) return;
  point(STDOUT_FILENO, target);
  point(STDERR_FILENO, target);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (nowhere > STDERR_FILENO) close(nowhere);
}

void give_streams() {
  if (result_to != -1) dup2(result_to, STDOUT_FILENO);
  if (report_to != -1) dup2(report_to, STDERR_FILENO);
}

int output_fd() {
  return result_to;
}

int report_fd() {
  return report_to;
}

void print(std::string_view text, int status) {
  alarm(0);
  if (write_whole(result_to, text)) return;
  if (errno == EPIPE) end_process(status);
  // A result that did not get out is none: a script may read from a full disk.
  print_report("zelctl: the result could not be written to standard output\nMake room where it goes.\n");
  end_process(kFailed);
}

void print_report(std::string_view text) {
  write_whole(report_to, text);
}

void note(const char* text, ...) {
  if (wanted.json) return;
  va_list values;
  va_start(values, text);
  print_report(format("note: %s\n", readable(format_list(text, values)).c_str()));
  va_end(values);
}

bool shows_progress() {
  return !wanted.json && isatty(report_to) == 1;
}

void progress(const std::string& text) {
  static size_t lines = 0;
  if (!shows_progress() || (text.empty() && !drawn)) return;
  const std::string up = lines != 0 ? format("\033[%zuA", lines) : "";
  // A line that is too long must not become two.
  print_report(format("%s\r\033[J\033[?7l%s\033[?7h", up.c_str(), text.c_str()));
  lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  drawn = !text.empty();
}

bool progress_is_drawn() {
  return drawn;
}

void end_process(int status) {
  std::fflush(nullptr);
  _exit(status);
}

}  // namespace zelctl
