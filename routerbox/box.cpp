#include "box.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <set>

#include "bus.h"
#include "mounts.h"
#include "permissions.h"
#include "processes.h"
#include "programs.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kObjectLimit(10000);
constexpr std::chrono::milliseconds kEndLimit(2000);
constexpr const char* kPackageFile = "/etc/norva/packages.json";
constexpr const char* kPermissionFile = "/etc/norva/permissions.json";

// The router's places. A row that later needs more of the host or less of it changes its kind.
const PrivateFolder kPrivateFolders[] = {
    // Without the host's log, and so that a program that removes or replaces a device does so for itself alone.
    {"/dev", Cover::kMirror, 0755, {"log", "shm"}},
    {"/etc", Cover::kMirror, 0755, {"norva", "passwd", "group"}},
    {"/tmp", Cover::kEmpty, 01777, {}},
    {"/usr/local", Cover::kMirror, 0755, {"localshell"}},
    {"/var", Cover::kMirror, 0755, {}},
    {"/var/run", Cover::kEmpty, 0755, {}},
};

class Box {
 public:
  Box(const Plan& plan, Descriptor control, const sigset_t& mask)
      : plan_(plan), options_(plan.options), processes_(std::move(control), mask) {}

  int run() {
    lay_out();
    bring_loopback_up();
    if (!options_.no_broker) broker_ = start_broker(processes_, plan_.broker);
    if (options_.router) router_ = start_management(processes_, plan_.management);
    if (options_.files) files_ = start_file_server(processes_, plan_.files);
    if (options_.downloads) downloads_ = start_downloads(processes_, plan_.downloads);
    if (!options_.no_perm) fill_permission_table();
    for (size_t i = 0; i < options_.start.size(); ++i) start_plugin(options_.start[i], plan_.started[i]);
    const int status = run_command();
    tell_of_failed_plugins();
    processes_.stop(plugins_, kEndLimit);
    stop_service(downloads_.front, "the front of the download daemon");
    // It takes its time to save its tasks. An end with unfinished ones is not told by its status as a good one.
    if (!plan_.downloads.folder.empty()) processes_.stop({downloads_.daemon}, kEndLimit);
    stop_service(files_, "the box's file server");
    stop_service(router_, "the box's router");
    stop_service(broker_, "the broker");
    return status;
  }

 private:
  void say(const std::string& line) const {
    if (!options_.quiet) std::cerr << "routerbox: " + line + "\n" << std::flush;
  }

  void lay_out() {
    const std::string passwd = read_file("/etc/passwd"), group = read_file("/etc/group");
    isolate_mounts();
    const std::vector<std::string> keep = kept_paths();
    for (const PrivateFolder& folder : kPrivateFolders) make_private(folder, keep);
    write_file("/etc/passwd", with_accounts(passwd, plan_.packages), 0644);
    write_file("/etc/group", with_groups(group, plan_.packages), 0644);
    if (mkdir("/dev/shm", 01777) != 0 || chmod("/dev/shm", 01777) != 0) fail_errno("cannot make /dev/shm");
    if (mkdir("/etc/norva", 0755) != 0 || chmod("/etc/norva", 0755) != 0)
      fail_errno("cannot make /etc/norva");
    if (!options_.packages.empty()) write_file(kPackageFile, plan_.packages_text, 0644);
    if (!options_.permissions.empty()) write_file(kPermissionFile, plan_.permissions_text, 0644);
    // Also for a command that becomes a plug-in's user by itself.
    if (!plan_.packages.empty()) let_plugins_through();
    // Entered anew, since the old one may lie below a private folder by now.
    if (chdir(plan_.folder.c_str()) != 0 && chdir("/") != 0) fail_errno("cannot enter /");
  }

  std::vector<std::string> programs() const {
    std::vector<std::string> paths{plan_.command};
    for (const std::string& path :
         {plan_.broker, plan_.management.program, plan_.management.tools.blkid,
          plan_.management.tools.busybox, plan_.files.program, plan_.downloads.daemon, plan_.downloads.front})
      if (!path.empty()) paths.push_back(path);
    paths.insert(paths.end(), plan_.started.begin(), plan_.started.end());
    return paths;
  }

  std::vector<std::string> kept_paths() const {
    std::vector<std::string> paths = programs();
    paths.insert(paths.end(), {plan_.folder, plan_.own});
    for (const std::string& path : options_.keep) paths.push_back(fs::absolute(path).lexically_normal());
    for (const std::string& path : {plan_.management.log, plan_.files.folder, plan_.downloads.folder})
      if (!path.empty()) paths.push_back(path);
    const size_t given = paths.size();
    for (size_t i = 0; i < given; ++i) paths.push_back(fs::weakly_canonical(paths[i]));
    return paths;
  }

  void let_plugins_through() {
    std::vector<fs::path> folders{plan_.own};
    for (const std::string& program : plan_.started) folders.push_back(fs::path(program).parent_path());
    if (!options_.as.empty()) folders.push_back(fs::path(plan_.command).parent_path());
    for (const fs::path& wanted : folders)
      for (const std::string& folder : open_way(fs::weakly_canonical(wanted)))
        say("plug-ins may not enter " + folder +
            ", so the box has a copy of it that they may pass; files made directly in it vanish with the "
            "box");
  }

  static void bring_loopback_up() {
    const Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    if (!probe || ioctl(probe.get(), SIOCGIFFLAGS, &request) != 0)
      fail_errno("cannot find the box's loopback");
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    if (ioctl(probe.get(), SIOCSIFFLAGS, &request) != 0) fail_errno("cannot bring the box's loopback up");
  }

  void start_plugin(const Background& plugin, const std::string& program) {
    const Package& package = package_of(plan_.packages, plugin.appid);
    const pid_t process = processes_.start({program, plugin.words, package.uid, plugin.appid + " | "});
    plugins_.push_back(process);
    if (options_.no_broker || !package.may_receive_cloud_messages()) return;
    const std::string object = "zel_" + plugin.appid;
    const ObjectWait waited = wait_for_object(processes_, object, process, kObjectLimit);
    if (waited == ObjectWait::kOwnerEnded) tell_of_end(plugins_.size() - 1);
    if (waited == ObjectWait::kLimit)
      say(plugin.appid + " has made no bus object " + object + " so far; going on without it");
  }

  // What a plug-in's own lines may not tell: that it is not there any more. Once for each.
  void tell_of_end(size_t plugin) {
    const int status = *processes_.ended(plugins_[plugin]);
    if (!told_.insert(plugin).second) return;
    say(options_.start[plugin].appid + " has ended, " +
        (status > 128 ? "killed by signal " + std::to_string(status - 128)
                      : "with status " + std::to_string(status)));
  }

  void tell_of_failed_plugins() {
    for (size_t i = 0; i < plugins_.size(); ++i) {
      if (processes_.ended(plugins_[i]).value_or(0) != 0) tell_of_end(i);
    }
  }

  int run_command() {
    Launch launch{plan_.command, options_.command, {}, {}};
    if (!options_.as.empty()) launch.uid = package_of(plan_.packages, options_.as).uid;
    const pid_t command = processes_.start(launch);
    processes_.set_target(command);
    processes_.serve([&] { return processes_.ended(command).has_value(); }, {});
    return *processes_.ended(command);
  }

  void stop_service(pid_t service, const std::string& name) {
    if (service == 0) return;
    const bool gone = processes_.ended(service).has_value();
    processes_.stop({service}, kEndLimit);
    const int status = processes_.ended(service).value_or(kBoxFailed);
    if (gone || status != 0)
      say(name + " ended " + (gone ? "before the command" : "badly") + ", with status " +
          std::to_string(status));
  }

  const Plan& plan_;
  const Options& options_;
  Processes processes_;
  pid_t broker_ = 0;
  pid_t router_ = 0;
  pid_t files_ = 0;
  DownloadServers downloads_;
  std::vector<pid_t> plugins_;  // in the order of options_.start
  std::set<size_t> told_;       // of them, whose end was told
};

std::string find_broker(const Options& options, const std::string& own) {
  if (options.no_broker) return {};
  const std::string program = options.broker.empty() ? own + "/hostbusd" : options.broker;
  try {
    return find_program(program);
  } catch (const Failure& failure) {
    throw Failure("the bus broker is missing: " + std::string(failure.what()) +
                  ". Build the target hostbusd, name another with --broker PROGRAM, or use --no-broker");
  }
}

}  // namespace

Plan make_plan(const Options& options) {
  Plan plan;
  plan.options = options;
  plan.folder = fs::current_path();
  plan.own = own_folder();
  if (!options.packages.empty()) {
    plan.packages_text = read_file(options.packages, "--packages must name a readable file");
    plan.packages = parse_packages(plan.packages_text, options.packages);
  }
  if (!options.permissions.empty())
    plan.permissions_text = read_file(options.permissions, "--permissions must name a readable file");
  if (!options.as.empty()) package_of(plan.packages, options.as);
  plan.broker = find_broker(options, plan.own);
  if (options.router) plan.management = find_management(plan.own, options.router_state, options.router_log);
  if (options.downloads) plan.downloads = find_downloads(plan.own, options.downloads_folder);
  if (options.files) plan.files = find_file_server(plan.own, options.files_folder);
  for (const Background& plugin : options.start) {
    package_of(plan.packages, plugin.appid);
    plan.started.push_back(find_program(plugin.words.front()));
  }
  plan.command = find_program(options.command.front());
  return plan;
}

int run_box(const Plan& plan, Descriptor control, const sigset_t& mask) {
  return Box(plan, std::move(control), mask).run();
}

}  // namespace routerbox
