// main.cpp: boxhosts, the services outside that a box pretends to reach.
#include "../http/loopback.h"
#include "../http/program.h"
#include "../support/places.h"
#include "authority.h"
#include "server.h"

namespace routerbox::hosts {
namespace {

struct Settings {
  std::vector<std::pair<std::string, std::string>> hosts;
  std::string box, trust, address = kHostsAddress;
};

void describe(CLI::App* app, Settings* settings) {
  app->add_option("--host", settings->hosts, "Name and folder of a host (repeatable)")->required();
  app->add_option("--address", settings->address, "Address to listen at (default: 127.0.0.2)");
  app->add_option("--trust", settings->trust,
                  "Folder, as /etc/ssl, that gets the certificate of the authority (default: none)");
  app->add_option("--box", settings->box,
                  "Folder of the box: its trace gets a line for each request (default: no trace)");
}

std::vector<OutsideHost> hosts_of(const Settings& settings) {
  std::vector<OutsideHost> hosts;
  for (const auto& [name, folder] : settings.hosts) hosts.push_back({name, folder});
  return hosts;
}

std::vector<std::string> names_of(const Settings& settings) {
  std::vector<std::string> names;
  for (const auto& [name, folder] : settings.hosts) names.push_back(name);
  return names;
}

Identity make_identity(const Settings& settings) {
  const Authority authority;
  if (!settings.trust.empty()) authority.put_trust(settings.trust);
  return authority.issue(names_of(settings));
}

// With what all its answers need; the scheme is known by the port.
template <class Server>
void serve(Server* server, const char* scheme, int port, const Settings& settings, Outside* outside) {
  route_all(server, [scheme, outside](const auto& request, const auto& body, auto& response) {
    outside->answer(scheme, request, body, response);
  });
  server->bind(port, settings.address.c_str());
}

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app(
      "Answers for hosts outside over HTTP and HTTPS, each from a folder, with a certificate of an "
      "authority\n"
      "of its own. GET, POST and DELETE /box/fault at port 16801 make them misbehave.",
      "boxhosts");
  describe(&app, &settings);
  CLI11_PARSE(app, argc, argv);
  RequestLog log(std::nullopt, settings.box, Channel::kFiles, "hosts");
  Faults faults({}, names_of(settings));
  Outside outside(hosts_of(settings), faults, log);
  const Identity identity = make_identity(settings);
  Loopback<httplib::Server> http;
  Loopback<httplib::SSLServer> https(identity.certificate.get(), identity.key.get());
  serve(&http, "http", kHttpPort, settings, &outside);
  serve(&https, "https", kHttpsPort, settings, &outside);
  LoopbackServer orders;
  route_faults(&orders, &faults);
  orders.bind(kHostsFaultPort, settings.address.c_str());
  serve_until_signal("boxhosts", {&http, &https, &orders});
}

}  // namespace
}  // namespace routerbox::hosts

int main(int argc, char** argv) {
  return routerbox::run_server("boxhosts", routerbox::hosts::run, argc, argv);
}
