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

// What has to be done before the program is executed; throws Failure.
void prepare(const Launch& launch, const Streams* streams) {
  signal(SIGPIPE, SIG_DFL);  // the HTTP library has it ignored
  if (streams != nullptr && !take_streams(*streams))
    fail_errno("cannot set up the streams of " + launch.program);
  if (!launch.data.empty()) show_data(launch.data);
  if (!launch.folder.empty() && chdir(launch.folder.c_str()) != 0)
    fail_errno("cannot enter " + launch.folder);
  close_inherited();
  if (!launch.uid) return;
  allow_cores();
  become_plugin(*launch.uid);
}

}  // namespace

void become_program(Launch launch, const Streams* streams, int report) {
  std::string text;
  int status = kBoxFailed;
  try {
    prepare(launch, streams);
    if (launch.complete) launch.complete(&launch);
    execv(launch.program.c_str(), exec_arguments(launch.words).data());
    status = errno == ENOENT ? kNotFound : kNotExecutable;
    text = explain_exec(launch.program, errno);
  } catch (const Failure& failure) {
    status = failure.status();
    text = failure.what();
  }
  write_all(report, static_cast<char>(status) + text);
  _exit(status);
}

}  // namespace routerbox
