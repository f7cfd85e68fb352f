#include "debug.h"

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <iterator>

#include "../isolation/guard.h"
#include "../processes/foreign.h"
#include "../support/io.h"
#include "../support/nearest.h"
#include "../support/pass_on.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "../trace/trace.h"
#include "enter.h"

namespace routerbox {
namespace {

using Words = std::vector<std::string>;

// What is debugged, and the tool's own options.
struct Wanted {
  std::string name, program;
  Words words, options;
  std::optional<Emulator> emulator;
};

Words join(Words first, const Words& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string require_tool(const std::string& program) {
  try {
    return find_program(program);
  } catch (const Failure&) {
    throw Failure(program + " is not on this machine; run: sudo apt-get install " + program, kFailed);
  }
}

Words emulate(const Wanted& wanted, const Words& qemu_options) {
  Words words = wanted.emulator->words(wanted.program, wanted.words);
  words.insert(words.begin() + 1, qemu_options.begin(), qemu_options.end());
  return words;
}

Words program_words(const Wanted& wanted) {
  return join({wanted.program}, {wanted.words.begin() + 1, wanted.words.end()});
}

Words with_gdb(const Wanted& wanted) {
  if (!wanted.emulator)
    return join(join(join({require_tool("gdb"), "-q"}, wanted.options), {"--args"}), program_words(wanted));
  const std::string stub = "/tmp/debug-" + wanted.name;
  // The first "$@" is qemu with the program, behind its number the debugger.
  const std::string script =
      "stub=$1 count=$2; shift 2; rm -f \"$stub\"\n"
      "\"${@:1:count}\" & qemu=$!; trap 'kill $qemu 2>/dev/null; rm -f \"$stub\"' EXIT\n"
      "until [ -S \"$stub\" ] || ! kill -0 $qemu 2>/dev/null; do sleep 0.02; done\n"
      "shift $count; \"$@\"";
  const Words qemu = emulate(wanted, {"-g", stub});
  const Words gdb =
      join(join({require_tool("gdb-multiarch"), "-q", "-ex", "set sysroot " + wanted.emulator->root, "-ex",
                 "set solib-search-path " + wanted.emulator->libraries, "-ex", "target remote " + stub},
                wanted.options),
           {wanted.program});
  return join(join({"bash", "-c", script, "debug", stub, std::to_string(qemu.size())}, qemu), gdb);
}

Words with_valgrind(const Wanted& wanted) {
  if (wanted.emulator)
    throw Failure("valgrind runs programs of this machine only; build " + wanted.name +
                      " for it, or use routerbox debug " + wanted.name + " gdb",
                  kNo);
  return join(join({require_tool("valgrind")}, wanted.options), program_words(wanted));
}

Words with_strace(const Wanted& wanted) {
  if (wanted.emulator) return emulate(wanted, join({"-strace"}, wanted.options));
  return join(join({require_tool("strace"), "-f"}, wanted.options), program_words(wanted));
}

constexpr struct {
  const char* name;
  Words (*words)(const Wanted& wanted);
} kTools[] = {{"gdb", with_gdb}, {"valgrind", with_valgrind}, {"strace", with_strace}};

Words tool_words(const std::string& tool, const Wanted& wanted) {
  Words known;
  for (const auto& row : kTools) {
    if (tool == row.name) return row.words(wanted);
    known.emplace_back(row.name);
  }
  throw Failure("'" + tool + "' is no tool to debug with" + advice_for(tool, known), kWrongCommandLine);
}

Wanted wanted_from(const Json& place, const Words& options) {
  Wanted wanted{place.at("name"), place.at("program"), place.at("words"), options, {}};
  if (const Json& emulator = place.at("emulator"); !emulator.is_null())
    wanted.emulator = Emulator{emulator.at("qemu"), emulator.at("root"), emulator.at("libraries")};
  return wanted;
}

// In a child: it cannot come back from the box's namespaces.
int run_there(pid_t process_one, const Launch& launch) {
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process");
  if (child == 0) try {
      _exit(run_in_box(process_one, launch));
    } catch (const Failure& failure) {
      write_all(STDERR_FILENO, std::string("routerbox: ") + failure.what() + "\n");
      _exit(failure.status());
    }
  for (const int number : {SIGINT, SIGQUIT}) signal(number, SIG_IGN);  // the terminal's are for the tool
  pass_on({SIGTERM, SIGHUP}, child);  // and the plug-in is to run again behind it
  int status = 0;
  if (retry([&] { return waitpid(child, &status, 0); }) != child) fail_errno("cannot wait for the tool");
  return WIFSIGNALED(status) ? kKilledBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Launch launch_for(const Json& place, const Words& words) {
  clean_environment(place.at("environment"));
  Launch launch;
  launch.words = words;
  const std::vector<std::string> roots = place.at("target_roots");
  launch.complete = [roots, own = own_folder()](Launch* found) {
    found->program = find_program(found->words.front());
    emulate(emulator_for(found->program, roots, own), found);
  };
  launch.data = place.at("data");
  if (launch.data.empty()) launch.folder = place.at("folder");
  if (!place.at("uid").is_null()) launch.uid = place.at("uid").get<uid_t>();
  return launch;
}

int debug_plugin(const BoxClient& box, const std::string& plugin, const std::string& tool,
                 const Words& options) {
  const Json place = box.call("enter", {{"as", plugin}});
  if (!place.contains("program")) throw Failure(plugin + " has no program in this box", kNo);
  const Launch launch = launch_for(place, tool_words(tool, wanted_from(place, options)));
  const auto begin = std::chrono::steady_clock::now();
  const bool ran = box.call("stop", {{"target", plugin}}).at("stopped");
  const int status = run_there(box.process_one(), launch);
  if (ran) box.call("start", {{"target", plugin}});
  Trace(box.folder())
      .record({Channel::kLife,
               "author",
               "box",
               "debug " + plugin + " " + tool,
               "OK",
               std::chrono::steady_clock::now() - begin,
               {}});
  return status;
}

}  // namespace routerbox
