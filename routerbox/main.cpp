// main.cpp: the outer process. It enters the namespaces, stays outside as the user's handle on the box,
// passes signals on, and returns the command's status. When it dies, the kernel ends the box.
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <exception>
#include <iostream>

#include "box.h"
#include "namespaces.h"

namespace routerbox {
namespace {

constexpr int kPassedOn[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

int report(const std::exception& error) {
  std::cerr << std::string("routerbox: ") + error.what() + "\n" << std::flush;
  const auto* const failure = dynamic_cast<const Failure*>(&error);
  return failure != nullptr ? failure->status() : kBoxFailed;
}

sigset_t awaited_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  for (const int number : kPassedOn) sigaddset(&signals, number);
  return signals;
}

[[noreturn]] void be_process_one(const Plan& plan, Descriptor control, const sigset_t& mask) {
  int status = kBoxFailed;
  try {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) fail_errno("cannot tie the box to its caller");
    status = run_box(plan, std::move(control), mask);
  } catch (const std::exception& error) {
    status = report(error);
  }
  std::cout << std::flush;
  _exit(status);
}

int watch(pid_t box, int control, const sigset_t& signals) {
  while (true) {
    siginfo_t news{};
    if (sigwaitinfo(&signals, &news) < 0) continue;
    int status = 0;
    if (news.si_signo == SIGCHLD) {
      if (waitpid(box, &status, WNOHANG) != box) continue;
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      throw Failure("the box was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    // The terminal's signals went to the command as well, it is in the same process group.
    if (news.si_code == SI_KERNEL) continue;
    const char number = static_cast<char>(news.si_signo);
    write_all(control, {&number, 1});
  }
}

uid_t highest_uid(const Plan& plan) {
  uid_t highest = 0;
  for (const Package& package : plan.packages) highest = std::max(highest, package.uid);
  return highest;
}

int run(int argc, char** argv) {
  const Plan plan = make_plan(read_options(argc, argv));
  const sigset_t signals = awaited_signals();
  sigset_t before;
  sigprocmask(SIG_BLOCK, &signals, &before);
  signal(SIGCHLD, SIG_DFL);  // an inherited "ignore" would hide the box's end
  enter_namespaces(highest_uid(plan));
  Pipe control = make_pipe();
  const pid_t box = fork();
  if (box < 0) fail_errno("cannot start the box");
  if (box == 0) {
    control.write = Descriptor();
    be_process_one(plan, std::move(control.read), before);
  }
  control.read = Descriptor();
  signal(SIGPIPE, SIG_IGN);  // after the fork, so that no program in the box inherits it
  return watch(box, control.write.get(), signals);
}

}  // namespace
}  // namespace routerbox

int main(int argc, char** argv) {
  int status = routerbox::kBoxFailed;
  try {
    status = routerbox::run(argc, argv);
  } catch (const std::exception& error) {
    status = routerbox::report(error);
  }
  // Not through exit(): this process can start no other once process 1 has ended, and the sanitizers' leak
  // check at exit, which needs one, would change the status.
  _exit(status);
}
