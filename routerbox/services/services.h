// services.h: the services of a running box.
#pragma once
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "../trace/trace.h"
#include "service.h"

namespace routerbox {

// Safe from any thread but the serving one, where note_end() belongs.
class Services {
 public:
  enum class State { kStopped, kRunning, kEnded };
  struct Row {
    std::string name, program;
    State state = State::kStopped;
    pid_t process = 0;
    int status = 0;  // of one that has ended
  };
  using Say = std::function<void(const std::string& line)>;

  Services(Processes& processes, Printer& printer, Trace& trace, const std::vector<Service>& found, Say say);

  // Makes their places in the box and starts all. Throws Failure.
  void start_all();
  void stop_all();
  // One by its name; false when it runs, or does not run, already. Throws Failure.
  bool start(const std::string& name);
  bool stop(const std::string& name);
  bool has(const std::string& name) const;
  bool runs(const std::string& name) const;  // all of its processes
  std::vector<Row> list() const;
  // The processes of one, in the order of their start.
  std::vector<pid_t> processes_of(const std::string& name) const;
  void note_end(pid_t process, int status);

 private:
  struct Running {
    std::string name;
    Server server;
    State state = State::kStopped;
    pid_t process = 0;
    int status = 0;
  };
  std::vector<size_t> of(const std::string& name) const;
  void start(size_t row);
  void stop(size_t row);
  void trace(const Running& row, const char* what, const std::string& result);

  Processes& processes_;
  Printer& printer_;
  Trace& trace_;
  const std::vector<Service>& found_;
  const Say say_;
  mutable std::mutex mutex_;
  std::vector<Running> rows_;  // guarded by mutex_, but for names and servers, which stay after start_all()
};

}  // namespace routerbox
