// main.cpp: boxrouter, the management interface of a router that does not exist.
#include <iostream>
#include <optional>

#include "../http/program.h"
#include "../support/failure.h"
#include "../support/places.h"
#include "faults.h"
#include "methods.h"
#include "server.h"

namespace routerbox::router {
namespace {

constexpr int kNoSuchPartition = 2;  // as blkid has it

struct Settings {
  std::string state, log, daemon_info;
  std::optional<std::string> partition, question;  // the empty text is one of no answer, not none
  ServerOptions server{kRouterPort, {}};
};

void describe(CLI::App* app, Settings* settings) {
  app->description(
      "Answers as a router's management interface does, on the loopback interface. State and faults can be\n"
      "changed while it runs: GET and PATCH /box/state; GET, POST and DELETE /box/fault.");
  app->add_option("--state", settings->state,
                  "JSON file with what the router answers; changes are written back. Made when it does not\n"
                  "exist (default: the built-in state, in memory)");
  app->add_option("--log", settings->log,
                  "File for one line per request: time, method, parameters, answer code, fault\n"
                  "(default: standard output)");
  add_server_options(app, &settings->server);
  app->add_option("--uuid", settings->partition,
                  "Print the UUID of this partition (such as sda1) as the state has it, and end");
  app->add_option("--daemon-info", settings->daemon_info,
                  "File that gets the state's DaemonInfo, now and at every change");
  app->add_option("--daemon", settings->question,
                  "Print what the daemon's script answers to these words as the state has it, and end");
}

int print_uuid(const Json& state, const std::string& partition) {
  const std::string uuid = uuid_of(state, partition);
  if (uuid.empty()) return kNoSuchPartition;
  std::cout << uuid + "\n" << std::flush;
  return 0;
}

int print_daemon_answer(const Json& state, const std::string& question) {
  const std::optional<std::string> answer = daemon_answer(state, question);
  if (!answer) throw Failure("the state's DaemonShell knows no \"" + question + "\"");
  std::cout << *answer + "\n" << std::flush;
  return 0;
}

[[noreturn]] void serve(const Settings& settings, State& state) {
  Faults faults(own_faults(), methods());
  const Json document = state.read();
  for (const Json& fault : document.value("faults", Json::array())) faults.add(fault);
  RequestLog log(settings.log, settings.server.box, Channel::kRouter, "router");
  Server server(state, faults, log);
  server.http().bind(settings.server.port);
  // The log and the state are complete after every request.
  serve_until_signal("boxrouter", {&server.http()});
}

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app("", "boxrouter");
  describe(&app, &settings);
  CLI11_PARSE(app, argc, argv);
  // These run as plug-ins, who may not write the file.
  if (settings.question) return print_daemon_answer(read_state(settings.state), *settings.question);
  if (settings.partition) return print_uuid(read_state(settings.state), *settings.partition);
  State state(settings.state, settings.daemon_info);
  serve(settings, state);
}

}  // namespace
}  // namespace routerbox::router

int main(int argc, char** argv) {
  return routerbox::run_server("boxrouter", routerbox::router::run, argc, argv);
}
