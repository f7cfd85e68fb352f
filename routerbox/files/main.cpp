// main.cpp: boxfiles, the server that downloads in the box come from.
#include "../http/program.h"
#include "../support/places.h"
#include "server.h"

namespace routerbox::files {
namespace {

int run(int argc, char** argv) {
  std::string folder;
  ServerOptions options{kFilesPort, {}};
  CLI::App app(
      "Serves downloads on the loopback interface: /files/NAME from the folder, /bytes/N, /slow/RATE/N,\n"
      "/drop/K/N (closes after K), /status/CODE, /redirect/CODE?to=URL, /hang. Byte i of generated content\n"
      "is the top byte of the 64-bit product i * 0x9E3779B97F4A7C15.",
      "boxfiles");
  app.add_option("--folder", folder, "Folder with the files (default: none)");
  add_server_options(&app, &options);
  CLI11_PARSE(app, argc, argv);
  Faults faults({}, methods());
  RequestLog log(std::nullopt, options.box, Channel::kFiles, "files");
  Server server(folder, faults, log);
  server.http().bind(options.port);
  serve_until_signal("boxfiles", {&server.http()});
}

}  // namespace
}  // namespace routerbox::files

int main(int argc, char** argv) {
  return routerbox::run_server("boxfiles", routerbox::files::run, argc, argv);
}
