// cores.h: what is left of a plug-in that crashed.
#pragma once
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "../processes/processes.h"
#include "../trace/trace.h"
#include "plugins.h"

namespace routerbox {

// Finds the core that the kernel wrote, moves it out of the way of the next one, and has gdb, if there is one, show
// where the program was. In threads of its own, because that takes its time.
class Cores {
 public:
  // `folder` gets the cores; empty: they stay where they are. `say` is called from those threads.
  Cores(Processes& processes, Trace& trace, std::string folder,
        std::function<void(const std::string& line)> say)
      : processes_(processes), trace_(trace), folder_(std::move(folder)), say_(std::move(say)) {}

  // On any thread; returns at once. The status is as a shell tells it; only those that leave a core count.
  void collect(const PluginRun& run, pid_t process, int status);
  // Returns when all that is being collected is told. Call it before the box's processes end.
  void wait();

 private:
  void examine(const PluginRun& run, pid_t process);
  std::string keep(const PluginRun& run, pid_t process, const std::string& core) const;
  void show_backtrace(const PluginRun& run, const std::string& core);

  Processes& processes_;
  Trace& trace_;
  const std::string folder_;
  const std::function<void(const std::string& line)> say_;
  std::mutex mutex_;
  std::list<std::thread> collecting_;  // guarded by mutex_
};

}  // namespace routerbox
