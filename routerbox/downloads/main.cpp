// main.cpp: boxdownloads, which makes the router's download daemon out of a stock aria2.
#include "../http/program.h"
#include "../support/places.h"
#include "faults.h"
#include "front.h"

namespace routerbox::downloads {
namespace {

struct Settings {
  std::string appids, log;
  int daemon_port = kDaemonPort;
  ServerOptions server{kDownloadsPort, {}};
};

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app(
      "Passes JSON-RPC on to a stock aria2 and adds to it what the router's daemon has: it keeps the option\n"
      "\"appid\" of aria2.addUri and reports it with every task. GET, POST and DELETE /box/fault make it\n"
      "misbehave.",
      "boxdownloads");
  app.add_option("--appids", settings.appids, "File in which the appids are kept")->required();
  app.add_option("--log", settings.log,
                 "File for one line per request: time, methods, request, HTTP status, fault\n"
                 "(default: standard output)");
  add_server_options(&app, &settings.server);
  app.add_option("--daemon-port", settings.daemon_port, "TCP port of the aria2")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  Appids appids(settings.appids);
  Faults faults(own_faults(), methods());
  RequestLog log(settings.log, settings.server.box, Channel::kDownloads, "downloads");
  Front front(settings.daemon_port, appids, faults, log, settings.server.box);
  front.http().bind(settings.server.port);
  serve_until_signal("boxdownloads", {&front.http()});
}

}  // namespace
}  // namespace routerbox::downloads

int main(int argc, char** argv) {
  return routerbox::run_server("boxdownloads", routerbox::downloads::run, argc, argv);
}
