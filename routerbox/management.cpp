#include "management.h"

#include <sys/stat.h>

#include <filesystem>

#include "programs.h"
#include "services.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr uint16_t kPort = 14000;

}  // namespace

Management find_management(const std::string& own_folder, const std::string& state_file,
                           const std::string& log_file) {
  Management management;
  management.program = find_own(own_folder, "boxrouter", "the box's router", "--router");
  management.tools = find_tools();
  if (!state_file.empty()) management.state = read_file(state_file, "--router takes a readable file or none");
  if (log_file.empty()) return management;
  // Made here, because only what exists on the host can stay visible in the box.
  const Descriptor log(open(log_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!log) fail_errno("cannot open " + log_file, "--router-log must name a file that can be written");
  management.log = fs::absolute(log_file).lexically_normal();
  return management;
}

pid_t start_management(Processes& processes, const Management& management) {
  if (mkdir(kRouterFolder, 0755) != 0 || chmod(kRouterFolder, 0755) != 0)
    fail_errno(std::string("cannot make ") + kRouterFolder);
  if (!management.state.empty()) write_file(kRouterState, management.state, 0644);
  put_tools(management.tools, management.program, kRouterState, kRouterFolder);
  const std::string log = management.log.empty() ? kRequestLog : management.log;
  const Launch launch{management.program,
                      {"boxrouter", "--state", kRouterState, "--log", log, "--daemon-info", kDaemonInfo},
                      {},
                      "router | "};
  return start_service(
      processes, launch,
      {"the box's router", "port " + std::to_string(kPort), "mend the file given to --router"},
      [] { return port_accepts(kPort); });
}

}  // namespace routerbox
