#include "support/process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/handles.h"

void Process::Self::ready() const {
  if (write(ready_, "r", 1) != 1) abort();
}

void Process::Self::wait_for_end() const {
  char byte;
  zel::retry([&] { return read(end_, &byte, 1); });
}

Process::Process(uid_t uid, const std::function<int(const Self&)>& body) {
  int ready[2];
  int end[2];
  if (pipe(ready) != 0 || pipe(end) != 0) abort();
  fflush(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ready[0]);
    close(end[1]);
    if (setuid(uid) != 0) abort();
    const int status = body(Self(ready[1], end[0]));
    fflush(nullptr);
#if defined(ZEL_COVERAGE)
    exit(status);  // Counts are written at an ordinary end only.
#endif
    _exit(status);
  }
  close(ready[1]);
  close(end[0]);
  end_ = end[1];
  char byte;
  if (zel::retry([&] { return read(ready[0], &byte, 1); }) != 1) finish();
  close(ready[0]);
}

Process::~Process() {
  finish();
}

int Process::finish() {
  if (end_ == -1) return status_;
  close(end_);
  end_ = -1;
  int status = 0;
  zel::retry([&] { return waitpid(pid_, &status, 0); });
  return status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run_as(uid_t uid, const std::function<int()>& body) {
  return Process(uid, [&](const Process::Self&) { return body(); }).finish();
}
