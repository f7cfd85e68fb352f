#include "launch.h"

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>

#include <cstring>

#include "../isolation/guard.h"
#include "../support/places.h"
#include "../support/programs.h"

namespace routerbox {
namespace {

bool take_streams(const Streams& streams) {
  return dup2(streams.input.get(), STDIN_FILENO) >= 0 && dup2(streams.output.get(), STDOUT_FILENO) >= 0 &&
         dup2(streams.output.get(), STDERR_FILENO) >= 0 && setsid() >= 0;
}

void show_data(const std::string& folder) {
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0 ||
      mount(folder.c_str(), kDataFolder, nullptr, MS_BIND, nullptr) != 0 || chdir(kDataFolder) != 0)
    fail_errno("cannot show " + folder + " as " + kDataFolder);
}

}  // namespace

Start::Start(const Launch& launch)
    : launch_(launch),
      words_(exec_arguments(launch_.words)),
      settings_(launch.uid ? environment_of(*launch.uid) : own_environment()),
      environment_(exec_arguments(settings_)) {}

// What has to be done before the program is executed; throws Failure.
void Start::prepare(const Streams* streams) const {
  signal(SIGPIPE, SIG_DFL);  // the HTTP library has it ignored
  if (streams != nullptr && !take_streams(*streams))
    fail_errno("cannot set up the streams of " + launch_.program);
  if (!launch_.data.empty()) show_data(launch_.data);
  if (!launch_.folder.empty() && chdir(launch_.folder.c_str()) != 0)
    fail_errno("cannot enter " + launch_.folder);
  close_inherited();
  if (!launch_.uid) return;
  allow_cores();
  become_plugin(*launch_.uid);
}

void Start::execute() {
  if (launch_.complete) {
    launch_.complete(&launch_);
    words_ = exec_arguments(launch_.words);
  }
  execve(launch_.program.c_str(), words_.data(), environment_.data());
}

void Start::become_program(const Streams* streams, int report) {
  std::string text;
  int status = kBoxFailed;
  try {
    prepare(streams);
    execute();
    status = errno == ENOENT ? kNotFound : kNotExecutable;
    text = explain_exec(launch_.program, errno);
  } catch (const Failure& failure) {
    status = failure.status();
    text = failure.what();
  }
  write_all(report, static_cast<char>(status) + text);
  _exit(status);
}

}  // namespace routerbox
