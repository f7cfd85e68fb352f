#include "cores.h"

#include <elf.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "../support/programs.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr Processes::Limit kDebuggerLimit(10000);
constexpr const char* kPatternFile = "/proc/sys/kernel/core_pattern";

std::string core_pattern() {
  std::string pattern = read_file(kPatternFile);
  pattern.erase(pattern.find_last_not_of(" \n") + 1);
  return pattern;
}

// A plug-in may have files with such names that are its own, and links to those of others.
bool is_core(const fs::path& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  Elf64_Ehdr header{};  // in all widths it begins alike
  return file && retry([&] { return read(file.get(), &header, sizeof header); }) == sizeof header &&
         std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_type == ET_CORE;
}

// Where the kernel has put it: the newest core there whose name begins as the pattern does. Empty: there is none.
std::string find_core(const std::string& folder, const std::string& pattern) {
  const fs::path named(pattern);
  const fs::path place = named.is_absolute() ? named.parent_path() : fs::path(folder);
  const std::string name = named.filename(), begin = name.substr(0, name.find('%'));
  fs::path newest;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(place, ignored)) {
    if (!entry.path().filename().string().starts_with(begin) || !is_core(entry.path())) continue;
    if (newest.empty() || entry.last_write_time(ignored) > fs::last_write_time(newest, ignored))
      newest = entry.path();
  }
  return newest;
}

std::string debugger() {
  try {
    return find_program("gdb");
  } catch (const Failure&) {
    return {};
  }
}

}  // namespace

void Cores::collect(const PluginRun& run, pid_t process, int status) {
  if (!leaves_core(status)) return;
  const std::lock_guard lock(mutex_);
  collecting_.emplace_back([this, run, process] {
    try {
      examine(run, process);
    } catch (const std::exception& error) {
      say_("the core of " + run.name + ": " + error.what());
    }
  });
}

void Cores::wait() {
  std::list<std::thread> collecting;
  {
    const std::lock_guard lock(mutex_);
    collecting.swap(collecting_);
  }
  for (std::thread& thread : collecting) thread.join();
}

void Cores::examine(const PluginRun& run, pid_t process) {
  const std::string pattern = core_pattern();
  if (pattern.starts_with('|'))
    return say_("this machine hands cores to a program (" + pattern +
                "); to have them here, run: sudo sysctl kernel.core_pattern=core");
  const std::string found = find_core(run.data.empty() ? fs::current_path().string() : run.data, pattern);
  if (found.empty())
    return say_(run.name + " left no core; it writes one where its folder lets it, as in a project's box");
  const std::string core = keep(run, process, found);
  say_("the core of " + run.name + " is " + core);
  trace_.record({Channel::kLife, run.name, "box", "core", core, {}, {}});
  show_backtrace(run, core);
}

std::string Cores::keep(const PluginRun& run, pid_t process, const std::string& core) const {
  if (folder_.empty()) return core;
  const std::string place = folder_ + "/" + run.name + "." + std::to_string(process);
  fs::create_directories(fs::path(folder_).parent_path());
  if (mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST) fail_errno("cannot make " + folder_);
  if (rename(core.c_str(), place.c_str()) != 0) fail_errno("cannot move " + core + " to " + place);
  if (lchown(place.c_str(), 0, 0) != 0) fail_errno("cannot take over " + place);  // for the author's debugger
  return place;
}

void Cores::show_backtrace(const PluginRun& run, const std::string& core) {
  const std::string program = debugger();
  if (program.empty())
    return say_("to see where it was, install gdb and run: gdb " + run.program + " " + core);
  Launch launch{program, {"gdb", "-nx", "-batch", "-ex", "bt", run.program, core}, {}, {}};
  // The innermost frame comes twice: when the core is loaded, and in the backtrace.
  std::string last;
  launch.output = whole_lines([this, &last](std::string_view line) {
    if ((line.starts_with('#') && line != last) || line.starts_with("Program"))
      say_("  " + std::string(line));
    last = line;
  });
  const pid_t process = processes_.start(launch);
  if (processes_.wait(process, kDebuggerLimit)) return;
  processes_.signal(process, SIGKILL);
  processes_.wait(process);
}

}  // namespace routerbox
