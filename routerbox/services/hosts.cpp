#include "../support/places.h"
#include "../support/programs.h"
#include "service.h"

namespace routerbox {
namespace {

// Its programs trust these folders' authority and no other: none of the machine's can be met in the box.
const std::vector<PrivateFolder> kTrusted = {
    {kCertificates, Cover::kMirror, 0755, {"cert.pem"}},
    {std::string(kCertificates) + "/certs", Cover::kEmpty, 0755, {}}};

std::vector<Server> lay_out(const std::string& program, const std::vector<OutsideHost>& hosts) {
  Launch launch{program,
                {"boxhosts", "--box", kBoxFolder, "--address", kHostsAddress, "--trust", kCertificates}};
  std::string line = kHostsAddress;
  for (const OutsideHost& host : hosts) {
    line += " " + host.name;
    launch.words.insert(launch.words.end(), {"--host", host.name, host.folder});
  }
  write_file(kHostsFile, read_file(kHostsFile) + line + "\n", 0644);
  return {{"the server of outside hosts", std::string(kHostsAddress) + ", " + port_place(kHttpsPort),
           [] { return port_accepts(kHttpsPort, kHostsAddress); }, "mend the folders of the hosts", launch}};
}

}  // namespace

std::optional<Service> find_hosts(const Options& options, const std::string& own_folder) {
  if (options.hosts.empty()) return std::nullopt;
  const std::string program = find_own(own_folder, "boxhosts", "the server of outside hosts", "--host");
  Service service{
      "hosts", {program}, [=, hosts = options.hosts] { return lay_out(program, hosts); }, kTrusted};
  for (const OutsideHost& host : options.hosts) service.paths.push_back(host.folder);
  return service;
}

}  // namespace routerbox
