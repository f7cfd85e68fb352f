#include "output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "text.h"

namespace zelctl {
namespace {

Manner wanted;
std::FILE* result_stream = nullptr;  // null when the caller has closed it
std::FILE* report_stream = nullptr;

std::FILE* taken(int fd) {
  const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 3);
  return copy != -1 ? fdopen(copy, "w") : nullptr;
}

void point(int fd, int target) {
  if (fd != target) dup2(fd, target);
}

}  // namespace

const Manner& manner() {
  return wanted;
}

void take_streams() {
  result_stream = taken(STDOUT_FILENO);
  report_stream = taken(STDERR_FILENO);
}

void silence_library(const Manner& manner) {
  wanted = manner;
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const int target = wanted.verbose && report_stream != nullptr ? fileno(report_stream) : nowhere;
  if (target == -1) return;
  point(target, STDOUT_FILENO);
  point(target, STDERR_FILENO);
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

void print(const std::string& text) {
  const bool printed = result_stream != nullptr && std::fputs(text.c_str(), result_stream) >= 0 &&
                       std::fflush(result_stream) == 0;
  if (printed) return;
  if (errno == EPIPE) throw OutputClosed();
  // A result that did not get out is none: a script may read from a full disk.
  throw Failure(kFailed, "the result could not be written to standard output", "Make room where it goes.");
}

void tell(const std::string& text, const cJSON* json) {
  print(wanted.json ? zelctl::printed(json) : text);
}

void tell(const Failure& failure) {
  if (!wanted.json) {
    const std::string code = failure.code() != 0 ? format(" (%d)", failure.code()) : "";
    if (report_stream == nullptr) return;
    std::fprintf(report_stream, "zelctl: %s%s\n%s\n", failure.what(), code.c_str(), failure.advice().c_str());
    std::fflush(report_stream);
    return;
  }
  const JsonTree json = json_object();
  add(json.get(), "error", readable(failure.what()));
  add(json.get(), "code", failure.code());
  add(json.get(), "advice", readable(failure.advice()));
  print(printed(json.get()));
}

void note(const std::string& text) {
  if (wanted.json || report_stream == nullptr) return;
  std::fprintf(report_stream, "note: %s\n", text.c_str());
  std::fflush(report_stream);
}

bool shows_progress() {
  return !wanted.json && report_stream != nullptr && isatty(fileno(report_stream)) == 1;
}

void progress(const std::string& text) {
  if (!shows_progress()) return;
  std::fprintf(report_stream, "\r%s\033[K", text.c_str());
  std::fflush(report_stream);
}

}  // namespace zelctl
