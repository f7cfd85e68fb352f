#include "ending.h"

#include <poll.h>
#include <unistd.h>
#include <zel/service.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "failure.h"
#include "handles.h"
#include "output.h"
#include "text.h"

namespace zelctl {
namespace {

// A callback waits for a command, or for the reader of our output, who may take nothing.
constexpr unsigned kCallbackSeconds = 10;

struct Ending {
  std::string report;
  int fd;
  int status;
};
Ending endings[2];  // by interruption, by limit

void end_now(int signal) {
  const Ending& ending = endings[signal == SIGALRM ? 1 : 0];
  pollfd wait{ending.fd, POLLOUT, 0};
  const bool ready = ending.report.empty() || poll(&wait, 1, 0) == 1;
  const bool written = ready && write(ending.fd, ending.report.data(), ending.report.size()) >= 0;
  _exit(written ? ending.status : kTimedOut);
}

sigset_t ending_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGALRM}) sigaddset(&signals, signal);
  return signals;
}

void set_ending(Ending* ending, int status, std::string report) {
  const Undivided scope;
  *ending = {std::move(report), report_fd(), status};
  if (manner().json && status != kDone) ending->fd = output_fd();
  struct sigaction action {};
  action.sa_handler = end_now;
  action.sa_mask = ending_signals();
  for (const int signal : {SIGINT, SIGTERM, SIGALRM}) sigaction(signal, &action, nullptr);
}

void set_failure(Ending* ending, const char* advice, const std::string& why) {
  const char* const end = progress_is_drawn() ? "\n" : "";
  set_ending(ending, kTimedOut, format("%s%s", end, failure_report(0, why, advice).c_str()));
}

}  // namespace

void interruption_fails(const char* advice, const char* why, ...) {
  va_list values;
  va_start(values, why);
  set_failure(&endings[0], advice, format_list(why, values));
  va_end(values);
}

void interruption_is_the_end() {
  set_ending(&endings[0], kDone, shows_progress() ? "\n" : "");
}

Limit::Limit(unsigned seconds, const char* advice, const char* why, ...) {
  va_list values;
  va_start(values, why);
  set_failure(&endings[1], advice, format_list(why, values));
  va_end(values);
  alarm(seconds);
}

Limit::~Limit() {
  alarm(0);
}

Undivided::Undivided() {
  const sigset_t signals = ending_signals();
  pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

Undivided::~Undivided() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

Service::Service() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

void Service::wait(unsigned seconds) {
  const timespec limit{static_cast<time_t>(seconds), 0};
  retry([&] { return sigtimedwait(&signals_, nullptr, seconds != 0 ? &limit : nullptr); });
  const Limit callback(kCallbackSeconds, "End it as well.", "what reads standard output takes nothing");
  zel_lock();
}

void Service::end() {
  kill(getpid(), SIGTERM);
}

}  // namespace zelctl
