#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "ending.h"
#include "text.h"

namespace zelctl {
namespace {

Manner wanted;
std::FILE* result_stream = nullptr;  // null when the caller has closed it
std::FILE* report_stream = nullptr;

bool drawn = false;

std::FILE* open_copy(int fd) {
  const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 3);
  return copy != -1 ? fdopen(copy, "w") : nullptr;
}

void point(int fd, int target) {
  if (fd != target) dup2(target, fd);
}

}  // namespace

const Manner& manner() {
  return wanted;
}

void want_json() {
  wanted.json = true;
}

void take_streams(const Manner& manner) {
  wanted = manner;
  result_stream = open_copy(STDOUT_FILENO);
  report_stream = open_copy(STDERR_FILENO);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const int target = wanted.verbose && report_stream != nullptr ? fileno(report_stream) : nowhere;
  if (target == -1) return;
  point(STDOUT_FILENO, target);
  point(STDERR_FILENO, target);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (nowhere > STDERR_FILENO) close(nowhere);
}

void give_streams() {
  if (result_stream != nullptr) dup2(fileno(result_stream), STDOUT_FILENO);
  if (report_stream != nullptr) dup2(fileno(report_stream), STDERR_FILENO);
}

int output_fd() {
  return result_stream != nullptr ? fileno(result_stream) : -1;
}

int report_fd() {
  return report_stream != nullptr ? fileno(report_stream) : -1;
}

void print(const std::string& text, int status) {
  const Undivided scope;
  const bool printed = result_stream != nullptr && std::fputs(text.c_str(), result_stream) >= 0 &&
                       std::fflush(result_stream) == 0;
  if (printed) return;
  if (errno == EPIPE) end_process(status);
  // A result that did not get out is none: a script may read from a full disk.
  print_report("zelctl: the result could not be written to standard output\nMake room where it goes.\n");
  end_process(kFailed);
}

void print_report(const std::string& text) {
  if (report_stream == nullptr) return;
  std::fputs(text.c_str(), report_stream);
  std::fflush(report_stream);
}

void note(const char* text, ...) {
  if (wanted.json) return;
  va_list values;
  va_start(values, text);
  print_report(format("note: %s\n", readable(format_list(text, values)).c_str()));
  va_end(values);
}

bool shows_progress() {
  return !wanted.json && report_stream != nullptr && isatty(fileno(report_stream)) == 1;
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
