// zelctl: looks at, asks, changes and mends what the router's plug-ins use.
#include <unistd.h>
#include <zel/service.h>

#include <csignal>

#include "command_line.h"
#include "ending.h"
#include "families.h"
#include "help.h"
#include "output.h"
#include "plugin_user.h"
#include "result.h"

namespace zelctl {

std::span<const Family* const> families() {
  static constexpr const Family* kFamilies[] = {
      &kPermFamily,   &kCloudFamily, &kEventFamily,  &kBusFamily,  &kRouterFamily,    &kDownloadFamily,
      &kDeviceFamily, &kHttpFamily,  &kDoctorFamily, &kHelpFamily, &kCompletionFamily};
  return kFamilies;
}

namespace {

void tell_version() {
  Result result;
  add_text(result.json(), "version", ZELCTL_VERSION);
  result.line("zelctl " ZELCTL_VERSION);
  result.show();
}

int run(const CommandLine& line) {
  if (line.version) return tell_version(), kDone;
  if (line.help) return tell_help(line.words), kDone;
  if (line.call.command == nullptr) fail(kUsage, "All of them: zelctl --help", "a command is missing");
  if (line.as != nullptr) become(appid_value(line.as));
  if (line.call.command->root && geteuid() != 0)
    fail(kNotPermitted, "Run it as root.", "%s is not permitted to this user", line.call.command->words);
  return line.call.command->run(line.call);
}

}  // namespace
}  // namespace zelctl

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  zel_debug = 0;
  zelctl::want_json(zelctl::mentions_json(argc, argv));
  const zelctl::CommandLine line = zelctl::parse(argc, argv);
  zelctl::take_streams(line.manner);
  zelctl::interruption_fails("Run it again to have the rest.", "interrupted");
  zelctl::end_process(zelctl::run(line));
}
