#include "box.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <set>

#include "mounts.h"
#include "objects.h"
#include "places.h"
#include "processes.h"
#include "programs.h"
#include "trace/peers.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kObjectLimit(10000);
constexpr std::chrono::milliseconds kEndLimit(2000);

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
    for (const Service& service : plan_.services)
      for (const Server& server : service.lay_out())
        servers_.push_back({server.title, server.end, start_server(processes_, server)});
    if (!plan_.zelctl.empty()) fill_permission_table();
    for (size_t i = 0; i < options_.start.size(); ++i) start_plugin(options_.start[i], plan_.started[i]);
    const int status = run_command();
    tell_of_failed_plugins();
    processes_.stop(plugins_, kEndLimit);
    while (!servers_.empty()) stop_last_server();
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
    make_folder(kBoxFolder, 0700);
    write_roster(kBoxFolder, roster());
    // Also for a command that becomes a plug-in's user by itself.
    if (!plan_.packages.empty()) let_plugins_through();
    // Entered anew, since the old one may lie below a private folder by now.
    if (chdir(plan_.folder.c_str()) != 0 && chdir("/") != 0) fail_errno("cannot enter /");
  }

  Roster roster() const {
    Roster roster{monotonic_seconds(), {}};
    for (const Package& package : plan_.packages)
      roster.plugins.push_back({package.appname, package.appid, package.uid});
    return roster;
  }

  std::vector<std::string> kept_paths() const {
    std::vector<std::string> paths{plan_.command, plan_.folder, plan_.own};
    paths.insert(paths.end(), plan_.started.begin(), plan_.started.end());
    for (const Service& service : plan_.services)
      paths.insert(paths.end(), service.paths.begin(), service.paths.end());
    for (const std::string& path : options_.keep) paths.push_back(fs::absolute(path).lexically_normal());
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

  // As the router does when it starts.
  void fill_permission_table() {
    const pid_t zelctl =
        processes_.start({plan_.zelctl, {"zelctl", "perm", "init"}, {}, "perm | ", Output::kErrors});
    processes_.serve([&] { return processes_.ended(zelctl).has_value(); }, {});
    if (*processes_.ended(zelctl) != 0)
      throw Failure("the permission table was not filled; zelctl perm init ended with status " +
                    std::to_string(*processes_.ended(zelctl)) + ", its lines are above");
  }

  void stop_last_server() {
    const auto [title, end, process] = servers_.back();
    servers_.pop_back();
    if (end == End::kAtOnce) return;
    const bool gone = processes_.ended(process).has_value();
    processes_.stop({process}, kEndLimit);
    const int status = processes_.ended(process).value_or(kBoxFailed);
    if (end == End::kClean && (gone || status != 0))
      say(title + " ended " + (gone ? "before the command" : "badly") + ", with status " +
          std::to_string(status));
  }

  const Plan& plan_;
  const Options& options_;
  Processes processes_;
  struct Running {
    std::string title;
    End end;
    pid_t process;
  };
  std::vector<Running> servers_;  // in the order of their start
  std::vector<pid_t> plugins_;    // in the order of options_.start
  std::set<size_t> told_;         // of them, whose end was told
};

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
  for (const FindService find : kServices)
    if (std::optional<Service> service = find(options, plan.own))
      plan.services.push_back(std::move(*service));
  if (!options.no_perm)
    plan.zelctl =
        find_own(plan.own, "zelctl", "the program that fills the permission table", "it with --no-perm");
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
