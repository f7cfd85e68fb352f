// zelctl: what the router's administrators and scripts do with the SDK's system side.
#include <zel/service.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "groups.h"

namespace {

constexpr const char* kFooter =
    "Exit status: 0 done (or: yes), 1 the answer is no, 2 wrong command line, 3 failed, 4 needs root.\n"
    "With --json, standard output is one JSON document; a failure is {\"error\", \"code\", \"advice\"}.";

// Also for a command line that cannot be understood.
bool wants_json(int argc, char** argv) {
  return std::any_of(argv, argv + argc, [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

int run(const zelctl::Session& session, int argc, char** argv) {
  CLI::App app("Manages the router's plug-in system.", "zelctl");
  app.footer(kFooter);
  app.fallthrough();  // --json may stand behind the command
  app.require_subcommand(1);
  app.set_version_flag("--version", "zelctl " ZELCTL_VERSION);
  app.add_flag("--json")->description("For scripts: results as JSON");
  zelctl::add_perm_group(app, session);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    throw zelctl::Failure(zelctl::kUsage, error.what(), "Run it with --help for more information.");
  }
  return zelctl::kDone;
}

int told(const zelctl::Session& session, const zelctl::Failure& failure) {
  zelctl::tell(session, failure);
  return failure.exit();
}

}  // namespace

int main(int argc, char** argv) {
  zel_debug = 0;
  const zelctl::Session session{wants_json(argc, argv)};
  try {
    try {
      return run(session, argc, argv);
    } catch (const zelctl::Failure& failure) {
      return told(session, failure);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zelctl: %s\n", error.what());
    return zelctl::kFailed;
  }
}
