#include "enter.h"

#include "../isolation/guard.h"
#include "../support/pass_on.h"

#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace routerbox {
namespace {

bool has_own_users(pid_t process_one) {
  struct stat theirs {
  }, ours{};
  const std::string path = "/proc/" + std::to_string(process_one) + "/ns/user";
  if (stat(path.c_str(), &theirs) != 0 || stat("/proc/self/ns/user", &ours) != 0)
    fail_errno("cannot look at the box's namespaces");
  return theirs.st_ino != ours.st_ino;
}

void enter(pid_t process_one) {
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, process_one, 0)));
  const bool users = has_own_users(process_one);
  const int namespaces =
      CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWPID | CLONE_NEWUTS | (users ? CLONE_NEWUSER : 0);
  if (!process || setns(process.get(), namespaces) != 0) fail_errno("cannot enter the box");
  if (users && (setresgid(0, 0, 0) != 0 || setresuid(0, 0, 0) != 0))
    fail_errno("cannot become root of the box");
}

}  // namespace

int run_in_box(pid_t process_one, const Launch& launch) {
  enter(process_one);
  drop_machine_powers();
  Pipe report = make_pipe();
  Start program(launch);
  const pid_t child = fork();  // the first one is in the box's process namespace, its parent stays outside
  if (child < 0) fail_errno("cannot start a process in the box");
  if (child == 0) program.become_program(nullptr, report.write.get());
  report.write = Descriptor();
  // The terminal's are for the command.
  for (const int number : {SIGINT, SIGQUIT}) signal(number, SIG_IGN);
  pass_on({SIGTERM, SIGHUP}, child);
  std::string trouble;
  read_all(report.read.get(), &trouble);
  if (!trouble.empty()) throw Failure(trouble.substr(1), trouble.front());
  int status = 0;
  if (retry([&] { return waitpid(child, &status, 0); }) != child) fail_errno("cannot wait for the command");
  return WIFSIGNALED(status) ? kKilledBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace routerbox
