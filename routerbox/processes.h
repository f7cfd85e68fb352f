// processes.h: the work of process 1: starts programs, passes on their output, collects what ended.
#pragma once
#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "io.h"
#include "relay.h"

namespace routerbox {

enum class Output { kAll, kErrors };  // what of a background program's is passed on

struct Launch {
  std::string program;             // absolute path
  std::vector<std::string> words;  // as the program sees them, its name first
  std::optional<uid_t> uid;        // and its gid; none: root of the box
  // Prefix of its output lines. Such a program runs in the background: a session of its own (the terminal's
  // Ctrl-C is not for it), no input. Without one it has the box's own standard streams.
  std::optional<std::string> prefix;
  Output output = Output::kAll;
};

// Single-threaded. All signals stay blocked while it lives, so nothing disturbs process 1.
class Processes {
 public:
  // `control` carries the numbers of signals for the target from outside; its end means that nobody is left
  // outside, and ends the box at once. Programs start with `mask` as their signal mask.
  Processes(Descriptor control, const sigset_t& mask);

  // Returns once the program is executing; throws Failure when that is impossible.
  pid_t start(const Launch& launch);
  // A child that runs `body` instead of a program; its result is the exit status.
  pid_t start_task(const std::function<int()>& body);
  // The process that gets the signals passed on from outside.
  void set_target(pid_t target) { target_ = target; }

  // Serves until `done` (looked at after every event) or the limit; returns done(). A signal passed on while
  // there is no target throws Failure: the user wants the box to end.
  using Limit = std::chrono::milliseconds;
  bool serve(const std::function<bool()>& done, std::optional<Limit> limit);

  // Status of an ended process as a shell tells it: exit status, or 128 + signal.
  std::optional<int> ended(pid_t process) const;
  // SIGTERM to the background processes among these, SIGKILL to those that outlive the limit.
  void stop(const std::vector<pid_t>& processes, Limit limit);

 private:
  pid_t fork_child();
  void take_signals();
  void collect();
  void pump_relays();

  Descriptor control_;
  Descriptor signals_;
  sigset_t mask_;
  pid_t target_ = 0;
  std::list<LineRelay> relays_;
  std::map<pid_t, int> ended_;
};

}  // namespace routerbox
