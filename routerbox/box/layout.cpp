#include "layout.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "../isolation/mounts.h"
#include "../plugins/data_folders.h"
#include "../support/places.h"
#include "../trace/peers.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHostName = "router";

// The router's places, and those of the machine that are nobody's business in the box.
const std::vector<PrivateFolder> kPrivateFolders = {
    {"/", Cover::kMirror, 0755, {"data"}},
    {"/data", Cover::kEmpty, 0755, {}},
    {"/dev", Cover::kEmpty, 0755, {}},
    {"/etc", Cover::kMirror, 0755, {"norva", "passwd", "group", "hostname", "hosts"}},
    {"/home", Cover::kEmpty, 0755, {}},
    {"/media", Cover::kEmpty, 0755, {}},
    {"/mnt", Cover::kEmpty, 0755, {}},
    {"/opt", Cover::kEmpty, 0755, {}},
    {"/root", Cover::kEmpty, 0755, {}},
    {"/tmp", Cover::kEmpty, 01777, {}},
    {"/usr/local", Cover::kMirror, 0755, {"localshell"}},
    {"/var", Cover::kMirror, 0755, {}},
    {"/var/run", Cover::kEmpty, 0755, {}},
    {"/var/tmp", Cover::kEmpty, 01777, {}},
};

// None of them leads to the machine's hardware.
constexpr const char* kDevices[] = {"/dev/full", "/dev/null",    "/dev/random",
                                    "/dev/tty",  "/dev/urandom", "/dev/zero"};
constexpr struct {
  const char* link;
  const char* target;
} kDeviceLinks[] = {{"/dev/fd", "/proc/self/fd"},
                    {"/dev/stdin", "/proc/self/fd/0"},
                    {"/dev/stdout", "/proc/self/fd/1"},
                    {"/dev/stderr", "/proc/self/fd/2"},
                    {"/dev/ptmx", "pts/ptmx"}};

constexpr const char* kSystemFolders[] = {"/",      "/bin", "/boot", "/dev",  "/etc",  "/home", "/lib",
                                          "/media", "/mnt", "/opt",  "/proc", "/root", "/run",  "/sbin",
                                          "/srv",   "/sys", "/tmp",  "/usr",  "/var"};

// Where people work, and not a folder of the system in which they happen to be.
bool is_workplace(const fs::path& folder) {
  return std::find(std::begin(kSystemFolders), std::end(kSystemFolders), folder) ==
             std::end(kSystemFolders) &&
         folder.parent_path() != "/home" && folder.parent_path() != "/usr";
}

// Its libraries lie beside the folder of an installed or built program.
fs::path home_of(const fs::path& folder) {
  return folder.filename() == "bin" && is_workplace(folder.parent_path()) ? folder.parent_path() : folder;
}

// What emulated programs need of the machine besides themselves.
std::vector<std::string> target_folders(const Plan& plan) {
  std::vector<std::string> folders;
  const auto add = [&](const std::optional<Emulator>& emulator) {
    if (!emulator) return;
    for (const std::string& folder :
         {fs::path(emulator->qemu).parent_path().string(), emulator->root, emulator->libraries})
      if (!folder.empty() && is_workplace(folder)) folders.push_back(folder);
  };
  add(plan.emulator);
  for (const PluginRun& plugin : plan.plugins) add(plugin.emulator);
  // For plug-ins that are installed while it runs.
  if (plan.options.command.empty())
    for (const std::string& folder : foreign_libraries(plan.options.target_roots, plan.own))
      if (is_workplace(folder)) folders.push_back(folder);
  return folders;
}

std::vector<Kept> paths_to_keep(const Plan& plan, const std::string& box_folder) {
  std::vector<Kept> kept;
  for (const char* device : kDevices) kept.push_back({device, true});
  kept.push_back({home_of(plan.own)});
  std::vector<std::string> programs;
  if (!plan.command.empty()) programs.push_back(plan.command);
  for (const PluginRun& plugin : plan.plugins) programs.push_back(plugin.program);
  for (const PluginRun& plugin : plan.plugins)
    if (!plugin.stub.empty()) programs.push_back(plugin.stub);
  for (const std::string& program : programs)
    if (is_workplace(fs::path(program).parent_path())) kept.push_back({fs::path(program).parent_path()});
  for (const std::string& folder : target_folders(plan)) kept.push_back({folder});
  for (const PluginRun& plugin : plan.plugins)
    if (!plugin.first_data.empty()) kept.push_back({plugin.first_data});
  if (is_workplace(plan.folder)) kept.push_back({plan.folder, true});
  for (const Service& service : plan.services)
    for (const std::string& path : service.paths) kept.push_back({path, path != service.paths.front()});
  for (const std::string& path : plan.options.keep)
    kept.push_back({fs::absolute(path).lexically_normal(), true});
  kept.push_back({box_folder, true, kBoxFolder});
  return kept;
}

std::vector<PrivateFolder> private_folders(const Plan& plan) {
  std::vector<PrivateFolder> folders = kPrivateFolders;
  for (const Service& service : plan.services)
    folders.insert(folders.end(), service.folders.begin(), service.folders.end());
  return folders;
}

// Returns the folders of the host that plug-ins may not enter, of which the box has copies.
std::vector<std::string> let_plugins_through(const Plan& plan) {
  std::vector<fs::path> folders{plan.own};
  for (const PluginRun& plugin : plan.plugins)
    for (const std::string& file : {plugin.program, plugin.stub})
      if (!file.empty()) folders.push_back(fs::path(file).parent_path());
  if (!plan.options.as.empty()) folders.push_back(fs::path(plan.command).parent_path());
  for (const std::string& folder : target_folders(plan)) folders.emplace_back(folder);
  std::vector<std::string> opened;
  for (const fs::path& wanted : folders)
    for (const std::string& folder : open_way(fs::weakly_canonical(wanted))) opened.push_back(folder);
  return opened;
}

Roster roster_of(const Plan& plan) {
  Roster roster{monotonic_seconds(), {}};
  for (const Package& package : plan.packages) {
    Plugin& row = roster.plugins.emplace_back(Plugin{package.appname, package.appid, package.uid});
    for (const PluginRun& plugin : plan.plugins)
      if (plugin.appid == row.appid) row.data = plugin.data;
  }
  return roster;
}

void make_devices() {
  make_folder("/dev/shm", 01777);
  make_folder("/dev/pts");
  // The box's own, so that no program of it finds those of the machine.
  if (mount("devpts", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620") !=
      0)
    fail_errno("cannot make the box's terminals");
  for (const auto& row : kDeviceLinks)
    if (symlink(row.target, row.link) != 0) fail_errno(std::string("cannot make the link ") + row.link);
}

void name_host() {
  if (sethostname(kHostName, std::strlen(kHostName)) != 0) fail_errno("cannot give the box a host name");
  write_file("/etc/hostname", std::string(kHostName) + "\n", 0644);
  write_file(kHostsFile, std::string("127.0.0.1 localhost ") + kHostName + "\n", 0644);
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
  enter_own_tree(private_folders(plan), paths_to_keep(plan, box_folder));
  make_devices();
  name_host();
  write_file("/etc/passwd", with_accounts(passwd, plan.packages), 0644);
  write_file("/etc/group", with_groups(group, plan.packages), 0644);
  make_folder(fs::path(kPackageFile).parent_path());
  if (!plan.packages_text.empty()) write_file(kPackageFile, plan.packages_text, 0644);
  if (!plan.permissions_text.empty()) write_file(kPermissionFile, plan.permissions_text, 0644);
  write_roster(kBoxFolder, roster_of(plan));
  for (const PluginRun& plugin : plan.plugins) {
    make_data(plugin);
    take_back(plugin);
  }
  // Also for a command that becomes a plug-in's user by itself.
  if (!plan.packages.empty())
    for (const std::string& folder : let_plugins_through(plan))
      if (folder == plan.folder)
        say("plug-ins may not enter " + folder +
            ", so the box has a copy of it that they may pass; files made directly in it vanish with the "
            "box");
  if (chdir(plan.folder.c_str()) != 0 && chdir("/") != 0) fail_errno("cannot enter /");
  bring_loopback_up();
}

}  // namespace routerbox
