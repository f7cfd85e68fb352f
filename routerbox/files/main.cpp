// main.cpp: boxfiles, the server that downloads in the box come from.
#include <CLI/CLI.hpp>

#include "../places.h"
#include "../program.h"
#include "server.h"

namespace routerbox::files {
namespace {

int run(int argc, char** argv) {
  std::string folder;
  int port = kFilesPort;
  CLI::App app(
      "Serves downloads on the loopback interface: /files/NAME from the folder, /bytes/N, /slow/RATE/N,\n"
      "/drop/K/N (closes after K), /status/CODE, /redirect/CODE?to=URL, /hang. Byte i of generated content\n"
      "is the top byte of the 64-bit product i * 0x9E3779B97F4A7C15.",
      "boxfiles");
  app.add_option("--folder", folder, "Folder with the files (default: none)");
  app.add_option("--port", port, "TCP port")->check(CLI::Range(1, 65535))->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  LoopbackServer server;
  route(&server, folder);
  server.bind(port);
  server.serve_until_signal("boxfiles");
}

}  // namespace
}  // namespace routerbox::files

int main(int argc, char** argv) {
  return routerbox::run_program("boxfiles", routerbox::files::run, argc, argv);
}
