#include "fault_verbs.h"

#include <httplib.h>

#include <algorithm>

#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"

namespace routerbox {
namespace {

constexpr const char* kFaultPath = "/box/fault";
constexpr time_t kFaultSeconds = 5;

// Port 0: not over HTTP.
constexpr struct Misbehaving {
  const char* name;
  uint16_t port;
  const char* address = "127.0.0.1";
} kMisbehaving[] = {{"router", kRouterPort},
                    {"downloads", kDownloadsPort},
                    {"files", kFilesPort},
                    {"hosts", kHostsFaultPort, kHostsAddress},
                    {"bus", 0}};

const Misbehaving& row_of(const std::string& service) {
  return *std::find_if(std::begin(kMisbehaving), std::end(kMisbehaving),
                       [&](const Misbehaving& row) { return service == row.name; });
}

httplib::Client client_of(const std::string& service) {
  const Misbehaving& row = row_of(service);
  httplib::Client client(row.address, row.port);
  client.set_read_timeout(kFaultSeconds);
  return client;
}

std::string body_of(const httplib::Result& result, const std::string& service) {
  if (!result)
    throw Failure(service + " does not answer; routerbox restart " + service + " starts it anew", kFailed);
  if (result->status != 200) throw Failure(reason_in(result->body), kNo);
  return result->body;
}

std::vector<std::string> names_from(const std::string& service, const char* path) {
  return Json::parse(body_of(client_of(service).Get(path), service));
}

std::string text_of_argument(const Json& arguments, const char* name) {
  const Json value = arguments.value(name, Json(""));
  return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

void FaultVerbs::check_service(const std::string& service) const {
  std::vector<std::string> names;
  for (const auto& row : kMisbehaving) names.emplace_back(row.name);
  if (std::find(names.begin(), names.end(), service) == names.end())
    throw Failure("'" + service + "' has no faults" + advice_for(service, names), kWrongCommandLine);
  if (!services_.has(service))
    throw Failure("the box was started without " + service + "; routerbox run --help lists the options", kNo);
}

Json FaultVerbs::fault(const Json& arguments) {
  const std::string service = text_of_argument(arguments, "service");
  check_service(service);
  Json wanted = {{"method", text_of_argument(arguments, "method")}};
  for (const char* name : {"kind", "count"})
    if (arguments.contains(name)) wanted[name] = text_of_argument(arguments, name);
  const bool clears = wanted.at("method") == "clear";
  if (clears != !wanted.contains("kind"))
    throw Failure(clears ? "clear stands alone" : "a fault needs a kind", kWrongCommandLine);
  if (service != "bus") {
    body_of(clears ? client_of(service).Delete(kFaultPath)
                   : client_of(service).Post(kFaultPath, text_of(wanted), "application/json"),
            service);
  } else if (clears) {
    bus_.clear();
  } else if (wanted.contains("count")) {
    throw Failure("faults of the bus are not counted; routerbox fault bus clear ends them",
                  kWrongCommandLine);
  } else {
    bus_.play(wanted.at("method"), wanted.at("kind"));
  }
  return {{"faults", list_of(service)}};
}

Json FaultVerbs::faults(const Json& arguments) const {
  const std::string wanted = text_of_argument(arguments, "service");
  if (wanted.empty()) return {{"faults", list_of("")}};
  check_service(wanted);
  const bool of_bus = wanted == "bus";
  return {{"faults", list_of(wanted)},
          {"methods", of_bus ? bus_.plugins() : methods_of_service(wanted)},
          {"kinds", of_bus ? BusFaults::written_kinds() : names_from(wanted, "/box/kinds")}};
}

Json FaultVerbs::list_of(const std::string& service) const {
  Json all = Json::array();
  for (const auto& row : kMisbehaving)
    if (services_.has(row.name) && (service.empty() || service == row.name)) add_faults(row.name, &all);
  return all;
}

Json FaultVerbs::faults_of_running() const {
  Json all = Json::array();
  for (const auto& row : kMisbehaving)
    if (services_.runs(row.name)) add_faults(row.name, &all);
  return all;
}

void FaultVerbs::add_faults(const std::string& service, Json* all) const {
  const Json listed = row_of(service).port == 0
                          ? bus_.list()
                          : Json::parse(body_of(client_of(service).Get(kFaultPath), service));
  for (Json fault : listed) {
    fault["service"] = service;
    all->push_back(fault);
  }
}

std::vector<std::string> methods_of_service(const std::string& service) {
  return names_from(service, "/box/methods");
}

}  // namespace routerbox
