#include "layout.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>

#include "mounts.h"
#include "places.h"
#include "trace/peers.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

// The router's places. A row that later needs more of the host or less of it changes its kind.
const PrivateFolder kPrivateFolders[] = {
    // Without the host's log, and so that a program that removes or replaces a device does so for itself alone.
    {"/dev", Cover::kMirror, 0755, {"log", "shm", "pts", "ptmx"}},
    {"/etc", Cover::kMirror, 0755, {"norva", "passwd", "group"}},
    {"/tmp", Cover::kEmpty, 01777, {}},
    {"/usr/local", Cover::kMirror, 0755, {"localshell"}},
    {"/var", Cover::kMirror, 0755, {}},
    {"/var/run", Cover::kEmpty, 0755, {}},
};

std::vector<std::string> kept_paths(const Plan& plan) {
  std::vector<std::string> paths{plan.folder, plan.own};
  if (!plan.command.empty()) paths.push_back(plan.command);
  for (const PluginRun& plugin : plan.plugins) paths.push_back(plugin.program);
  for (const Service& service : plan.services)
    paths.insert(paths.end(), service.paths.begin(), service.paths.end());
  for (const std::string& path : plan.options.keep) paths.push_back(fs::absolute(path).lexically_normal());
  const size_t given = paths.size();
  for (size_t i = 0; i < given; ++i) paths.push_back(fs::weakly_canonical(paths[i]));
  return paths;
}

// Returns the folders of the host that plug-ins may not enter, of which the box has copies.
std::vector<std::string> let_plugins_through(const Plan& plan) {
  std::vector<fs::path> folders{plan.own};
  for (const PluginRun& plugin : plan.plugins) folders.push_back(fs::path(plugin.program).parent_path());
  if (!plan.options.as.empty()) folders.push_back(fs::path(plan.command).parent_path());
  std::vector<std::string> opened;
  for (const fs::path& wanted : folders)
    for (const std::string& folder : open_way(fs::weakly_canonical(wanted))) opened.push_back(folder);
  return opened;
}

Roster roster_of(const Plan& plan) {
  Roster roster{monotonic_seconds(), {}};
  for (const Package& package : plan.packages)
    roster.plugins.push_back({package.appname, package.appid, package.uid});
  return roster;
}

// The box's own, so that no program of it finds those of the machine.
void make_terminals() {
  make_folder("/dev/pts");
  if (mount("devpts", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620") !=
          0 ||
      symlink("pts/ptmx", "/dev/ptmx") != 0)
    fail_errno("cannot make the box's terminals");
}

// Through its descriptor, as its path may lie below a private folder by now.
void show_box_folder(int folder) {
  make_folder(kBoxFolder, 0700);
  const std::string source = "/proc/self/fd/" + std::to_string(folder);
  if (mount(source.c_str(), kBoxFolder, nullptr, MS_BIND, nullptr) != 0)
    fail_errno(std::string("cannot show ") + kBoxFolder);
}

void bring_loopback_up() {
  const Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  if (!probe || ioctl(probe.get(), SIOCGIFFLAGS, &request) != 0) fail_errno("cannot find the box's loopback");
  request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
  if (ioctl(probe.get(), SIOCSIFFLAGS, &request) != 0) fail_errno("cannot bring the box's loopback up");
}

}  // namespace

void lay_out(const Plan& plan, const std::string& box_folder,
             const std::function<void(const std::string&)>& say) {
  const std::string passwd = read_file("/etc/passwd"), group = read_file("/etc/group");
  isolate_mounts();
  // Of the box's own mounts, and before private folders hide it.
  const Descriptor shown(open(box_folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!shown) fail_errno("cannot open " + box_folder);
  const std::vector<std::string> keep = kept_paths(plan);
  for (const PrivateFolder& folder : kPrivateFolders) make_private(folder, keep);
  write_file("/etc/passwd", with_accounts(passwd, plan.packages), 0644);
  write_file("/etc/group", with_groups(group, plan.packages), 0644);
  make_folder("/dev/shm", 01777);
  make_terminals();
  make_folder("/etc/norva");
  if (!plan.packages_text.empty()) write_file(kPackageFile, plan.packages_text, 0644);
  if (!plan.permissions_text.empty()) write_file(kPermissionFile, plan.permissions_text, 0644);
  show_box_folder(shown.get());
  write_roster(kBoxFolder, roster_of(plan));
  // Also for a command that becomes a plug-in's user by itself.
  if (!plan.packages.empty())
    for (const std::string& folder : let_plugins_through(plan))
      say("plug-ins may not enter " + folder +
          ", so the box has a copy of it that they may pass; files made directly in it vanish with the box");
  // Entered anew, since the old one may lie below a private folder by now.
  if (chdir(plan.folder.c_str()) != 0 && chdir("/") != 0) fail_errno("cannot enter /");
  bring_loopback_up();
}

}  // namespace routerbox
