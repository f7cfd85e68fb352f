// zelctl: looks at, asks, changes and mends what the router's plug-ins use.
#include <unistd.h>
#include <zel/service.h>

#include <csignal>

#include "command_line.h"
#include "families.h"
#include "help.h"
#include "output.h"
#include "plugin_user.h"

namespace zelctl {

std::span<const Family* const> families() {
  static constexpr const Family* kFamilies[] = {&kPermFamily, &kHelpFamily, &kCompletionFamily};
  return kFamilies;
}

namespace {

int tell_version() {
  const JsonTree json = json_object();
  add(json.get(), "version", ZELCTL_VERSION);
  tell("zelctl " ZELCTL_VERSION "\n", json);
  return kDone;
}

int run(int argc, char** argv) {
  const CommandLine line = parse(argc, argv);
  silence_library(line.manner);
  if (line.version) return tell_version();
  if (line.help) {
    tell_help(line.help_about);
    return kDone;
  }
  if (line.call.command == nullptr)
    throw Failure(kUsage, "a command is missing", "All of them: zelctl --help");
  if (line.as != nullptr) become(appid_value(line.as));
  if (line.call.command->root && geteuid() != 0)
    throw Failure(kNotPermitted, std::string(line.call.command->words) + " is not permitted to this user",
                  "Run it as root.");
  return line.call.command->run(line.call);
}

// A document is wanted of every failure, also of those before the command line is understood.
int report(const Failure& failure, bool json) {
  if (json) silence_library({true, manner().verbose});
  tell(failure);
  return failure.exit();
}

}  // namespace
}  // namespace zelctl

int main(int argc, char** argv) {
  using namespace zelctl;
  std::signal(SIGPIPE, SIG_IGN);
  zel_debug = 0;
  take_streams();
  try {
    try {
      return run(argc, argv);
    } catch (const Failure& failure) {
      return report(failure, wants_json(argc, argv));
    }
  } catch (const OutputClosed&) {
    return kDone;
  } catch (const std::exception& error) {
    note(error.what());
    return kFailed;
  }
}
