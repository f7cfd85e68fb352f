#include <filesystem>

#include "../support/places.h"
#include "../support/programs.h"
#include "service.h"
#include "tools.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

struct Router {
  std::string program;
  Tools tools;
  std::string state;  // text of the state file; empty: the built-in state
  std::string log;
};

std::vector<Server> lay_out(const Router& router) {
  make_folder(kRouterFolder);
  if (!router.state.empty()) write_file(kRouterState, router.state, 0644);
  put_tools(router.tools, router.program, kRouterState, kRouterFolder);
  return {{"the box's router",
           port_place(kRouterPort),
           [] { return port_accepts(kRouterPort); },
           "mend the file given to --router",
           {router.program,
            {"boxrouter", "--state", kRouterState, "--log", router.log, "--daemon-info", kDaemonInfo, "--box",
             kBoxFolder}}}};
}

// Made here, because only what exists on the host can be shown in the box.
std::string make_log(const std::string& file) {
  const Descriptor log(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!log) fail_errno("cannot open " + file, "--router-log must name a file that can be written");
  return fs::absolute(file).lexically_normal();
}

}  // namespace

std::optional<Service> find_router(const Options& options, const std::string& own_folder) {
  if (!options.router) return std::nullopt;
  Router router{find_own(own_folder, "boxrouter", "the box's router", "--router"), find_tools(), {}, {}};
  if (!options.router_state.empty())
    router.state = read_file(options.router_state, "--router takes a readable file or none");
  Service service{"router", {router.program}, {}};
  for (const std::string& tool : {router.tools.blkid, router.tools.busybox})
    if (!tool.empty()) service.paths.push_back(tool);
  router.log = kRequestLog;
  if (!options.router_log.empty()) {
    router.log = make_log(options.router_log);
    service.paths.push_back(router.log);
  }
  service.lay_out = [router] { return lay_out(router); };
  return service;
}

}  // namespace routerbox
