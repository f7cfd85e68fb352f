#include "doctor.h"

#include <sys/wait.h>

#include <fstream>
#include <functional>
#include <vector>

#include "../isolation/namespaces.h"
#include "../support/io.h"
#include "../support/programs.h"

namespace routerbox {
namespace {

// Returns what was found; throws Failure with what is wrong.
using Look = std::function<std::string()>;

struct Check {
  std::string what, purpose;
  bool needed;
  Look look;
  std::string advice;  // empty: the failure has it
};

constexpr uid_t kUsualUids = 65535;

// In a child, which the entering changes.
std::string enter_in_child() {
  Pipe report = make_pipe();
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process");
  if (child == 0) {
    try {
      enter_namespaces(kUsualUids);
    } catch (const Failure& failure) {
      write_all(report.write.get(), failure.what());
    }
    _exit(0);
  }
  report.write = Descriptor();
  std::string trouble;
  read_all(report.read.get(), &trouble);
  retry([&] { return waitpid(child, nullptr, 0); });
  if (!trouble.empty()) throw Failure(trouble);
  return geteuid() == 0 ? "root can make them" : "can be made, with subordinate ids";
}

Look program(const std::string& name) {
  return [name] { return find_program(name); };
}

Look own_programs() {
  return [] {
    const std::string folder = own_folder();
    for (const char* name : {"hostbusd", "boxbus", "zelctl", "boxrouter", "boxfiles", "boxdownloads",
                             "boxhosts", "boxstub", "boxpack"})
      find_program(folder + "/" + name);
    return folder;
  };
}

std::string cores() {
  std::ifstream file("/proc/sys/kernel/core_pattern");
  std::string pattern;
  std::getline(file, pattern);
  if (pattern.starts_with("|")) throw Failure("the kernel hands them to " + pattern.substr(1));
  return "written as " + pattern;
}

std::vector<Check> checks() {
  const auto package = [](const char* name) { return std::string("sudo apt-get install ") + name; };
  return {
      {"namespaces", "the box itself", true, enter_in_child, ""},
      {"programs", "the box's own services", true, own_programs(), "build or install all of them together"},
      {"aria2c", "--downloads", false, program("aria2c"), package("aria2")},
      {"busybox", "the router's ps, df, mount and free", false, program("busybox"), package("busybox")},
      {"qemu-mipsel", "the target's programs", false, program("qemu-mipsel"), package("qemu-user")},
      {"mipsel-linux-gnu-gcc", "building for the target", false, program("mipsel-linux-gnu-gcc"),
       package("g++-mipsel-linux-gnu")},
      {"curl", "trying hosts and faults by hand", false, program("curl"), package("curl")},
      {"gdb", "routerbox debug, backtraces of cores", false, program("gdb"), package("gdb")},
      {"gdb-multiarch", "routerbox debug of the target's programs", false, program("gdb-multiarch"),
       package("gdb-multiarch")},
      {"valgrind", "routerbox debug PLUGIN valgrind, routerbox test --valgrind", false, program("valgrind"),
       package("valgrind")},
      {"strace", "routerbox debug PLUGIN strace", false, program("strace"), package("strace")},
      {"bats", "routerbox test", false, program("bats"), package("bats")},
      {"cmake", "building what routerbox new makes", false, program("cmake"), package("cmake")},
      {"make", "building what routerbox new makes", false, program("make"), package("build-essential")},
      {"cc", "building what routerbox new --c makes", false, program("cc"), package("build-essential")},
      {"c++", "building what routerbox new --cpp makes", false, program("c++"), package("build-essential")},
      {"cores", "backtraces of plug-ins that die", false, cores, "sudo sysctl kernel.core_pattern=core"},
  };
}

Json result_of(const Check& check) {
  Json row = {{"what", check.what}, {"for", check.purpose}, {"needed", check.needed}, {"ok", true}};
  try {
    row["found"] = check.look();
    row["advice"] = "";
  } catch (const Failure& failure) {
    row["ok"] = false;
    row["found"] = failure.what();
    row["advice"] = check.advice;
  }
  return row;
}

}  // namespace

Json examine_machine() {
  Json rows = Json::array();
  bool ready = true;
  for (const Check& check : checks()) {
    const Json row = result_of(check);
    ready = ready && (row.at("ok") || !check.needed);
    rows.push_back(row);
  }
  return {{"ready", ready}, {"checks", rows}};
}

}  // namespace routerbox
