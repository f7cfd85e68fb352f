#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "../support/places.h"
#include "../support/programs.h"
#include "service.h"

namespace routerbox {
namespace {

constexpr const char* kAdvice = "name another with --bus PROGRAM";

bool accepts(const char* path) {
  const Descriptor end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  return connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool serves() {
  return std::any_of(std::begin(kBusSockets), std::end(kBusSockets), accepts);
}

std::string find_broker(const std::string& program) {
  try {
    return find_program(program);
  } catch (const Failure& failure) {
    throw Failure("the bus broker is missing: " + std::string(failure.what()) +
                  ". Build the target hostbusd, name another with --bus PROGRAM, or use --no-bus");
  }
}

}  // namespace

std::optional<Service> find_bus(const Options& options, const std::string& own_folder) {
  if (options.no_bus) return std::nullopt;
  const std::string program = find_broker(options.bus.empty() ? own_folder + "/hostbusd" : options.bus);
  Launch launch{program, {program}};
  if (std::filesystem::path(program).filename() == "hostbusd")
    launch.words.insert(launch.words.end(), {"--faults", kBusOrders});
  const std::string recorder = find_own(own_folder, "boxbus", "the bus's recorder", "--no-bus");
  return Service{"bus", {program, recorder}, [launch, recorder] {
                   return std::vector<Server>{{"the broker", kBusSockets[0], serves, kAdvice, launch},
                                              {"the bus's recorder",
                                               kBusRecorder,
                                               [] { return access(kBusRecorder, F_OK) == 0; },
                                               kAdvice,
                                               {recorder, {"boxbus", "record", kBoxFolder}}}};
                 }};
}

}  // namespace routerbox
