#include "plugins.h"

#include <signal.h>
#include <string.h>

#include <algorithm>

#include "../trace/peers.h"
#include "data_folders.h"

namespace routerbox {
namespace {

constexpr Processes::Limit kEndLimit(2000);
constexpr size_t kLastLines = 10;
constexpr size_t kMostLines = 10'000;
constexpr int kDeadly[] = {SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSYS};

constexpr std::string_view kSanitizerReports[] = {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer",
                                                  "WARNING: ThreadSanitizer", "WARNING: MemorySanitizer",
                                                  ": runtime error: "};

// What valgrind has to say begins with the process's number: "==12345== Invalid read of size 4".
bool is_valgrinds(std::string_view line) {
  const size_t digits = line.starts_with("==") ? line.find_first_not_of("0123456789", 2) : std::string::npos;
  return digits != std::string::npos && digits > 2 && line.substr(digits).starts_with("== ");
}

void run_under_valgrind(const PluginRun& run, Launch* launch) {
  if (run.valgrind.empty()) return;
  launch->words[0] = launch->program;
  launch->words.insert(launch->words.begin(), {"valgrind", "--quiet"});
  launch->program = run.valgrind;
}

}  // namespace

bool leaves_core(int status) {
  return std::find(std::begin(kDeadly), std::end(kDeadly), status - kKilledBase) != std::end(kDeadly);
}

std::string describe_end(int status) {
  if (status <= kKilledBase) return "with status " + std::to_string(status);
  const int number = status - kKilledBase;
  return "killed by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
}

Plugins::Plugins(const Ways& ways, const std::vector<PluginRun>& runs) : ways_(ways), outputs_(runs.size()) {
  for (const PluginRun& run : runs) rows_.push_back({run});
}

size_t Plugins::size() const {
  const std::lock_guard lock(mutex_);
  return rows_.size();
}

size_t Plugins::put(const PluginRun& run) {
  const std::lock_guard lock(mutex_);
  for (size_t place = 0; place < rows_.size(); ++place) {
    if (rows_[place].run.appid != run.appid) continue;
    rows_[place].run = run;
    return place;
  }
  rows_.push_back({run});
  outputs_.emplace_back();
  return rows_.size() - 1;
}

std::optional<size_t> Plugins::find(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  for (size_t place = 0; place < rows_.size(); ++place)
    if (rows_[place].run.name == name || rows_[place].run.appid == name) return place;
  return std::nullopt;
}

Plugins::Row Plugins::row(size_t place) const {
  const std::lock_guard lock(mutex_);
  return rows_[place];
}

std::vector<std::string> Plugins::names() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const Row& row : rows_) names.push_back(row.run.name);
  return names;
}

bool Plugins::start(size_t place) {
  const Row before = row(place);
  if (before.state == State::kRunning) return false;
  const PluginRun& run = before.run;
  make_data(run);  // an author may have removed it, to begin anew
  Launch launch{run.program, run.words, run.uid, {}};
  emulate(run.emulator, &launch);
  run_under_valgrind(run, &launch);
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
  const Row before = row(place);
  {
    const std::lock_guard lock(mutex_);
    if (rows_[place].state != State::kRunning) return false;
    rows_[place].state = State::kStopped;
  }
  ways_.processes.stop({before.process}, kEndLimit);
  ways_.trace.record({Channel::kLife, "box", before.run.name, "stop", "", {}, {}});
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

size_t Plugins::count_lines(size_t place) const {
  const std::lock_guard lock(mutex_);
  return outputs_[place].lost + outputs_[place].lines.size();
}

std::vector<std::string> Plugins::lines_from(size_t place, size_t first) const {
  const std::lock_guard lock(mutex_);
  const Output& output = outputs_[place];
  std::vector<std::string> texts;
  for (size_t line = first > output.lost ? first - output.lost : 0; line < output.lines.size(); ++line)
    texts.push_back(output.lines[line].text);
  return texts;
}

std::deque<OutputLine> Plugins::output(size_t place) const {
  const std::lock_guard lock(mutex_);
  return outputs_[place].lines;
}

void Plugins::take_line(size_t place, std::string_view line) {
  std::unique_lock lock(mutex_);
  const std::string prefix = rows_[place].run.prefix;
  lock.unlock();
  ways_.printer.print(STDOUT_FILENO, prefix + " | " + std::string(line));
  lock.lock();
  Row& row = rows_[place];
  const PluginRun& run = row.run;
  row.last_lines.emplace_back(line.substr(0, kLongestText));
  if (row.last_lines.size() > kLastLines) row.last_lines.pop_front();
  Output& output = outputs_[place];
  output.lines.push_back({monotonic_seconds(), std::string(line.substr(0, kLongestText))});
  if (output.lines.size() > kMostLines) output.lines.pop_front(), ++output.lost;
  const bool report =
      (!run.valgrind.empty() && is_valgrinds(line)) ||
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
    // One that was to stop may crash meanwhile, or have been about to.
    const bool crashed = row.state == State::kStopped && leaves_core(status);
    if (row.process != process || (row.state != State::kRunning && !crashed)) continue;
    row.state = State::kEnded;
    row.status = status;
    if (status != 0) ++deaths_;
    if (leaves_core(status)) ++row.crashes;
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
