// processes.h: the work of process 1: starts programs, passes on their output, collects what ended.
#pragma once
#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "../support/lines.h"
#include "launch.h"

namespace routerbox {

// Somebody wants the box to end: a signal from outside, or its control.
class Interrupted : public Failure {
 public:
  explicit Interrupted(int number);
};

// One thread serves and owns what is here; the others ask it. All signals stay blocked in all of them, so nothing
// disturbs process 1.
class Processes {
 public:
  using Limit = std::chrono::milliseconds;

  // `outside` carries the numbers of signals from outside, with kFromTerminal added when the terminal sent them; its
  // end means that nobody is left there, and ends the box at once. Programs start with `mask` as their signal mask.
  Processes(Descriptor outside, const sigset_t& mask, Printer& printer);
  static constexpr unsigned char kFromTerminal = 0x80;

  // Serves until `director`, which runs in a thread of its own, is done; returns what it returns or throws what it
  // throws. `on_end` hears of every process that ends, with its status, on the serving thread.
  int run(std::function<int()> director, std::function<void(pid_t, int)> on_end);

  // What follows is for other threads. Returns once the program is executing; throws Failure when that is impossible.
  pid_t start(const Launch& launch);
  // Status of an ended process as a shell tells it: exit status, or 128 + signal.
  std::optional<int> end_of(pid_t process);
  // Waits for the end. Throws Interrupted when the box is to end.
  int wait(pid_t process);
  std::optional<int> wait(pid_t process, Limit limit);
  // A signal to the process and those it started, if it has not ended.
  void signal(pid_t process, int number);
  // SIGTERM to the background processes among these, SIGKILL to those that outlive the limit.
  void stop(const std::vector<pid_t>& processes, Limit limit);

  // The process that gets the signals from outside; 0: they interrupt.
  void set_target(pid_t target);
  // Ends all waits, also later ones, until clear_interrupt().
  void interrupt(int number);
  void clear_interrupt();

 private:
  struct Relay {
    pid_t process;
    Descriptor from;
    Sink sink;
  };
  struct Wait {
    pid_t process;
    std::shared_ptr<std::promise<int>> end;
  };

  template <class Body>
  auto ask(Body body);
  void run_asked();
  void serve_once();
  pid_t fork_child();
  void take_signals();
  void take_signal(unsigned char number);
  void collect();
  void note_end(pid_t process, int status);
  void interrupt_waits();
  void pump_relays();

  Descriptor outside_, signals_, wake_;
  const sigset_t mask_;
  Printer& printer_;
  std::function<void(pid_t, int)> on_end_;
  pid_t target_ = 0;
  int interrupt_ = 0;  // number of the signal
  std::list<Relay> relays_;
  std::list<Wait> waits_;
  std::map<pid_t, int> ended_;

  std::mutex mutex_;
  std::vector<std::function<void()>> asked_;  // guarded by mutex_
};

}  // namespace routerbox
