#include "plugins.h"

#include <string.h>

#include <algorithm>

namespace routerbox {
namespace {

constexpr Processes::Limit kEndLimit(2000);
constexpr size_t kLastLines = 10;

constexpr std::string_view kSanitizerReports[] = {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer",
                                                  "WARNING: ThreadSanitizer", "WARNING: MemorySanitizer",
                                                  ": runtime error: "};

std::string describe_end(int status) {
  if (status <= kKilledBase) return "with status " + std::to_string(status);
  const int number = status - kKilledBase;
  return "killed by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
}

}  // namespace

Plugins::Plugins(const Ways& ways, const std::vector<PluginRun>& runs) : ways_(ways) {
  for (const PluginRun& run : runs) rows_.push_back({run});
}

std::optional<size_t> Plugins::find(const std::string& name) const {
  for (size_t place = 0; place < rows_.size(); ++place)
    if (rows_[place].run.name == name || rows_[place].run.appid == name) return place;
  return std::nullopt;
}

Plugins::Row Plugins::row(size_t place) const {
  const std::lock_guard lock(mutex_);
  return rows_[place];
}

std::vector<std::string> Plugins::names() const {
  std::vector<std::string> names;
  for (const Row& row : rows_) names.push_back(row.run.name);
  return names;
}

bool Plugins::start(size_t place) {
  if (row(place).state == State::kRunning) return false;
  const PluginRun& run = rows_[place].run;
  Launch launch{run.program, run.words, run.uid, {}};
  emulate(run.emulator, &launch);
  launch.output = whole_lines([this, place](std::string_view line) { take_line(place, line); });
  launch.terminal = true;
  launch.data = run.data;
  const pid_t process = ways_.processes.start(launch);
  {
    const std::lock_guard lock(mutex_);
    Row& row = rows_[place];
    row.process = process;
    row.state = State::kRunning;
    row.last_lines.clear();
  }
  ways_.trace.record({Channel::kLife, "box", run.name, "start", std::to_string(process), {}, {}});
  if (const std::optional<int> status = ways_.processes.end_of(process)) note_end(process, *status);
  return true;
}

bool Plugins::stop(size_t place) {
  {
    const std::lock_guard lock(mutex_);
    if (rows_[place].state != State::kRunning) return false;
    rows_[place].state = State::kStopped;
  }
  ways_.processes.stop({rows_[place].process}, kEndLimit);
  ways_.trace.record({Channel::kLife, "box", rows_[place].run.name, "stop", "", {}, {}});
  return true;
}

void Plugins::stop_all() {
  std::vector<pid_t> running;
  {
    const std::lock_guard lock(mutex_);
    for (Row& row : rows_) {
      if (row.state != State::kRunning) continue;
      row.state = State::kStopped;
      running.push_back(row.process);
    }
  }
  ways_.processes.stop(running, kEndLimit);
}

void Plugins::take_line(size_t place, std::string_view line) {
  const PluginRun& run = rows_[place].run;
  ways_.printer.print(STDOUT_FILENO, run.prefix + " | " + std::string(line));
  const std::lock_guard lock(mutex_);
  Row& row = rows_[place];
  row.last_lines.emplace_back(line.substr(0, kLongestText));
  if (row.last_lines.size() > kLastLines) row.last_lines.pop_front();
  const bool report =
      std::any_of(std::begin(kSanitizerReports), std::end(kSanitizerReports),
                  [&](std::string_view text) { return line.find(text) != std::string_view::npos; });
  if (!report || row.reported) return;
  row.reported = true;
  ++deaths_;
  ways_.say("a sanitizer reports a fault of " + run.name + ": " + std::string(line));
  ways_.trace.record({Channel::kLife, run.name, "box", "sanitizer", std::string(line), {}, {}});
}

void Plugins::note_end(pid_t process, int status) {
  const std::lock_guard lock(mutex_);
  for (Row& row : rows_) {
    if (row.process != process || row.state != State::kRunning) continue;
    row.state = State::kEnded;
    row.status = status;
    if (status != 0) ++deaths_;
    report_end(row);
    if (status > kKilledBase) ways_.killed(row.run, process, status);
  }
}

void Plugins::report_end(const Row& row) const {
  const std::string& name = row.run.name;
  Json lines = Json::array();
  for (const std::string& line : row.last_lines) lines.push_back(line);
  ways_.trace.record(
      {Channel::kLife, name, "box", "end", describe_end(row.status), {}, {{"last_lines", lines}}});
  ways_.say(name + " has ended, " + describe_end(row.status) + "; routerbox start " + name +
            " starts it again");
}

int Plugins::deaths() const {
  const std::lock_guard lock(mutex_);
  return deaths_;
}

}  // namespace routerbox
