#include "outer.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>

#include "../console/console.h"
#include "../isolation/namespaces.h"
#include "../isolation/run_folder.h"
#include "../plugins/data_folders.h"
#include "../support/pass_on.h"
#include "../support/printable.h"
#include "box.h"

namespace routerbox {
namespace {

constexpr int kPassedOn[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

int report(const std::exception& error) {
  std::cerr << "routerbox: " + printable(error.what(), kLines) + "\n" << std::flush;
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

// What went wrong goes to `trouble` too, where somebody waits for the box to be ready.
[[noreturn]] void be_process_one(const Plan& plan, Ends ends, const sigset_t& mask) {
  int status = kBoxFailed;
  const Descriptor trouble(fcntl(ends.ready.get(), F_DUPFD_CLOEXEC, 3));
  try {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) fail_errno("cannot tie the box to its caller");
    status = run_box(plan, std::move(ends), mask);
  } catch (const std::exception& error) {
    status = report(error);
    if (trouble) write_all(trouble.get(), error.what());
  }
  _exit(status);
}

// A box in the background whose folder was removed, as at the end of a login, could not be ended by any verb.
bool was_removed(const std::string& folder) {
  return !folder.empty() && access(folder.c_str(), F_OK) != 0 && errno == ENOENT;
}

// `folder` is empty for a box in front.
int watch(pid_t box, int outside, const sigset_t& signals, const std::string& folder) {
  constexpr timespec kFolderLooks{2, 0};
  while (true) {
    siginfo_t news{};
    if (sigtimedwait(&signals, &news, &kFolderLooks) < 0) {
      if (was_removed(folder)) kill(getpid(), SIGTERM);
      continue;
    }
    int status = 0;
    if (news.si_signo == SIGCHLD) {
      if (waitpid(box, &status, WNOHANG) != box) continue;
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      throw Failure("the box was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    const auto number =
        static_cast<char>(news.si_signo | (news.si_code == SI_KERNEL ? Processes::kFromTerminal : 0));
    write_all(outside, {&number, 1});
  }
}

uid_t highest_uid(const Plan& plan) {
  uid_t highest = 0;
  for (const Package& package : plan.packages) highest = std::max(highest, package.uid);
  return highest;
}

// A container that has this machine's /tmp may have a process of the same number.
std::string name_of(const Options& options) {
  if (!options.name.empty()) return options.name;
  const std::vector<std::string> others = running_boxes();
  for (pid_t number = getpid();; ++number)
    if (const std::string name = "run-" + std::to_string(number);
        !std::binary_search(others.begin(), others.end(), name))
      return name;
}

int run(const Plan& plan, const BoxPlace& place, Descriptor ready) {
  Ends ends;
  ends.control = place.make_socket();
  ends.folder = place.folder();
  ends.ready = std::move(ready);
  const bool in_background = bool(ends.ready);
  const bool lends_ids = geteuid() != 0;
  enter_namespaces(highest_uid(plan));
  const sigset_t signals = awaited_signals();
  sigset_t before;
  sigprocmask(SIG_BLOCK, &signals, &before);
  signal(SIGCHLD, SIG_DFL);  // an inherited "ignore" would hide the box's end
  Pipe outside = make_pipe();
  const pid_t box = fork();
  if (box < 0) fail_errno("cannot start the box");
  if (box == 0) {
    outside.write = Descriptor();
    ends.outside = std::move(outside.read);
    be_process_one(plan, std::move(ends), before);
  }
  outside.read = Descriptor();
  ends = {};
  signal(SIGPIPE, SIG_IGN);  // after the fork, so that no program in the box inherits it
  const int status = watch(box, outside.write.get(), signals, in_background ? place.folder() : "");
  if (!lends_ids) return status;
  if (plan.options.project) hand_over(plan.folder + "/.box");
  place.sweep_beside();  // while this process owns all ids
  return status;
}

void redirect_output(const std::string& file) {
  const Descriptor output(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  const Descriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!output || !input || dup2(output.get(), STDOUT_FILENO) < 0 || dup2(output.get(), STDERR_FILENO) < 0 ||
      dup2(input.get(), STDIN_FILENO) < 0)
    fail_errno("cannot write " + file);
}

BoxPlace place_of(const Plan& plan) {
  return BoxPlace(plan.box, plan.options.project ? plan.folder : "");
}

// What its services said, while nobody sees the file yet.
std::string lines_of_services(const std::string& file) {
  std::istringstream log(read_file(file));
  std::string lines;
  for (std::string line; std::getline(log, line);)
    if (!line.starts_with("routerbox: ")) lines += "\n" + line;
  return lines;
}

[[noreturn]] void be_background(const Plan& plan, Descriptor ready) {
  int status = kBoxFailed;
  try {
    setsid();
    const BoxPlace place = place_of(plan);
    const std::string log = place.folder() + "/output.log";
    redirect_output(log);
    status = run(plan, place, Descriptor(fcntl(ready.get(), F_DUPFD_CLOEXEC, 3)));
    write_all(ready.get(), lines_of_services(log));  // to nobody where the box has run
  } catch (const std::exception& error) {
    write_all(ready.get(), error.what());
  }
  _exit(status);
}

}  // namespace

int run_in_front(const Options& options) {
  Plan plan = make_plan(options);
  plan.box = name_of(options);
  const BoxPlace place = place_of(plan);
  if (options.console >= 0) start_console(plan.box, options.console);
  return run(plan, place, {});
}

std::string run_in_background(const Options& options) {
  Plan plan = make_plan(options);
  plan.box = name_of(options);
  Pipe ready = make_pipe();
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start the box");
  if (child == 0) {
    ready.read = Descriptor();
    be_background(plan, std::move(ready.write));
  }
  ready.write = Descriptor();
  // Who gives up waiting wants no box.
  pass_on({SIGINT, SIGTERM, SIGHUP}, child);
  // Until the box is ready, or all who could tell why not have ended.
  std::string news;
  char block[512];
  for (ssize_t count; (count = retry([&] { return read(ready.read.get(), block, sizeof block); })) > 0;) {
    news.append(block, static_cast<size_t>(count));
    if (news == kReady) return plan.box;
  }
  throw Failure(news.empty() ? "the box ended while it started" : news);
}

}  // namespace routerbox
