#include "program.h"

#include <exception>
#include <iostream>

namespace routerbox {

void add_server_options(CLI::App* app, ServerOptions* options) {
  app->add_option("--port", options->port, "TCP port (default: " + std::to_string(options->port) + ")")
      ->check(CLI::Range(1, 65535));
  app->add_option("--box", options->box,
                  "Folder of the box: its trace gets a line for each request (default: no trace)");
}

int run_server(const std::string& program, int (*run)(int argc, char** argv), int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << program + ": " + error.what() + "\n" << std::flush;
    return 1;
  }
}

}  // namespace routerbox
