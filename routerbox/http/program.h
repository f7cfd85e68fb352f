// program.h: what the mains of the box's servers have in common.
#pragma once
#include <CLI/CLI.hpp>
#include <string>

namespace routerbox {

struct ServerOptions {
  int port;         // set to the default before the options are added
  std::string box;  // folder with the box's roster and trace (trace/peers.h); empty: none
};

void add_server_options(CLI::App* app, ServerOptions* options);

// The exit status of `run`; what it throws becomes a line that begins with the program's name, and status 1.
int run_server(const std::string& program, int (*run)(int argc, char** argv), int argc, char** argv);

}  // namespace routerbox
