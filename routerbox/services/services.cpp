#include "services.h"

#include <algorithm>

namespace routerbox {
namespace {

constexpr Processes::Limit kEndLimit(2000);

}  // namespace

Services::Services(Processes& processes, Printer& printer, Trace& trace, const std::vector<Service>& found,
                   Say say)
    : processes_(processes), printer_(printer), trace_(trace), found_(found), say_(std::move(say)) {}

void Services::trace(const Running& row, const char* what, const std::string& result) {
  trace_.record(
      {Channel::kLife, "box", row.name, what, result, {}, {{"program", row.server.launch.program}}});
}

void Services::start_all() {
  for (const Service& service : found_)
    for (Server& server : service.lay_out()) {
      server.launch.output = lines_of(printer_, service.name);
      size_t row = 0;
      {
        const std::lock_guard lock(mutex_);
        rows_.push_back({service.name, std::move(server)});
        row = rows_.size() - 1;
      }
      start(row);
    }
}

void Services::stop_all() {
  for (size_t row = rows_.size(); row-- > 0;)
    if (rows_[row].server.end != End::kAtOnce) stop(row);
}

bool Services::start(const std::string& name) {
  bool started = false;
  for (const size_t row : of(name)) {
    if (rows_[row].state == State::kRunning) continue;
    start(row);
    started = true;
  }
  return started;
}

bool Services::stop(const std::string& name) {
  bool stopped = false;
  std::vector<size_t> rows = of(name);
  std::reverse(rows.begin(), rows.end());
  for (const size_t row : rows) {
    if (rows_[row].state != State::kRunning) continue;
    stop(row);
    stopped = true;
  }
  return stopped;
}

bool Services::has(const std::string& name) const {
  return !of(name).empty();
}

bool Services::runs(const std::string& name) const {
  const std::vector<Row> rows = list();
  return has(name) && std::all_of(rows.begin(), rows.end(), [&](const Row& row) {
           return row.name != name || row.state == State::kRunning;
         });
}

std::vector<size_t> Services::of(const std::string& name) const {
  std::vector<size_t> rows;
  for (size_t row = 0; row < rows_.size(); ++row)
    if (rows_[row].name == name) rows.push_back(row);
  return rows;
}

std::vector<Services::Row> Services::list() const {
  const std::lock_guard lock(mutex_);
  std::vector<Row> rows;
  for (const Running& row : rows_)
    rows.push_back({row.name, row.server.launch.program, row.state, row.process, row.status});
  return rows;
}

std::vector<pid_t> Services::processes_of(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  std::vector<pid_t> processes;
  for (const Running& row : rows_)
    if (row.name == name && row.state == State::kRunning) processes.push_back(row.process);
  return processes;
}

void Services::start(size_t row) {
  const Server& server = rows_[row].server;
  const pid_t process = start_server(processes_, server);
  {
    const std::lock_guard lock(mutex_);
    rows_[row].process = process;
    rows_[row].state = State::kRunning;
  }
  trace(rows_[row], "start", std::to_string(process));
  if (const std::optional<int> status = processes_.end_of(process)) note_end(process, *status);
}

void Services::stop(size_t row) {
  {
    const std::lock_guard lock(mutex_);
    if (rows_[row].state != State::kRunning) return;
    rows_[row].state = State::kStopped;
  }
  const pid_t process = rows_[row].process;
  processes_.stop({process}, kEndLimit);
  trace(rows_[row], "stop", "");
  const int status = processes_.end_of(process).value_or(kBoxFailed);
  if (status != 0 && rows_[row].server.end == End::kClean)
    say_(rows_[row].server.title + " ended badly, with status " + std::to_string(status));
}

void Services::note_end(pid_t process, int status) {
  const std::lock_guard lock(mutex_);
  for (Running& row : rows_) {
    if (row.process != process || row.state != State::kRunning) continue;
    row.state = State::kEnded;
    row.status = status;
    trace(row, "end", "with status " + std::to_string(status));
    say_(row.server.title + " has ended, with status " + std::to_string(status) + "; routerbox start " +
         row.name + " starts it again");
  }
}

}  // namespace routerbox
