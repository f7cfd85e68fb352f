// plugins.h: the plug-ins of a running box, and what became of each.
#pragma once
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "../processes/foreign.h"
#include "../processes/processes.h"
#include "../support/lines.h"
#include "../trace/trace.h"
#include "packages.h"

namespace routerbox {

// What the box is to run as a plug-in.
struct PluginRun {
  std::string name, appid;
  std::string prefix;  // of its lines
  uid_t uid = 0;
  bool has_object = false;         // it may receive cloud messages, so it makes a bus object
  std::string program;             // absolute path
  std::vector<std::string> words;  // its name first
  std::string data;                // folder that it alone sees, as kDataFolder, and starts in; empty: none
  std::optional<Emulator> emulator = {};
  std::string stub = {};        // the file that it plays; empty: it is no stub
  std::string first_data = {};  // folder of what is in `data` at first; empty: nothing
  bool ends = false;            // by itself, with status 0
  std::string valgrind = {};    // absolute path of the program that runs it; empty: none

  std::string object() const { return "zel_" + appid; }
};

struct OutputLine {
  double at = 0;  // seconds of CLOCK_MONOTONIC
  std::string text;
};

// Whether a program that ended with this status, as a shell tells it, may leave a core.
bool leaves_core(int status);
// "with status 3", "killed by signal 11 (Segmentation fault)"
std::string describe_end(int status);

// Safe from any thread but the serving one, where note_end() belongs.
class Plugins {
 public:
  enum class State { kStopped, kRunning, kEnded };
  struct Row {
    PluginRun run;
    State state = State::kStopped;
    pid_t process = 0;
    int status = 0;  // of one that has ended
    std::deque<std::string> last_lines = {};
    bool reported = false;  // a sanitizer had something to say
    int crashes = 0;        // ends that leave a core
  };
  struct Ways {
    Processes& processes;
    Printer& printer;
    Trace& trace;
    std::function<void(const std::string& line)> say;  // of things that go wrong
    // Of one that a signal has ended unasked; must not wait.
    std::function<void(const PluginRun& run, pid_t process, int status)> killed;
  };

  Plugins(const Ways& ways, const std::vector<PluginRun>& runs);

  size_t size() const;
  // Its place; none when no plug-in has this name or appid.
  std::optional<size_t> find(const std::string& name) const;
  Row row(size_t place) const;
  std::vector<std::string> names() const;

  // In the place of the one with its appid, which does not run, or behind all. Returns its place.
  size_t put(const PluginRun& run);

  // False when it runs, or does not run, already. Throws Failure.
  bool start(size_t place);
  bool stop(size_t place);
  void stop_all();

  // How many lines it has written so far, and those from a number on, of which the oldest may be lost.
  size_t count_lines(size_t place) const;
  std::vector<std::string> lines_from(size_t place, size_t first) const;
  std::deque<OutputLine> output(size_t place) const;

  void note_end(pid_t process, int status);
  // Ends that nobody asked for, and sanitizers' reports.
  int deaths() const;

 private:
  struct Output {
    std::deque<OutputLine> lines = {};
    size_t lost = 0;
  };
  void take_line(size_t place, std::string_view line);
  void report_end(const Row& row) const;

  const Ways ways_;
  mutable std::mutex mutex_;
  std::vector<Row> rows_;        // guarded by mutex_
  std::vector<Output> outputs_;  // of each, guarded by mutex_
  int deaths_ = 0;               // guarded by mutex_
};

}  // namespace routerbox
