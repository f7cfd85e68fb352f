#include <cstdio>
#include <exception>

#include "options.h"
#include "server.h"

int main(int argc, char** argv) {
  try {
    const hostbus::Options options = hostbus::parse_options(argc, argv);
    if (options.help) return std::fputs(hostbus::kHelp, stdout) < 0 ? 1 : 0;
    hostbus::Server server(options);
    server.run();
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "hostbusd: %s\n", e.what());
    return 1;
  }
}
