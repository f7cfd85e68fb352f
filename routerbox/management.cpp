#include "management.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "programs.h"
#include "services.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr uint16_t kPort = 14000;

// An ordinary user's PATH lacks the folders where blkid usually is.
std::string find_blkid() {
  for (const char* place : {"blkid", "/usr/sbin/blkid", "/sbin/blkid"}) {
    try {
      return find_program(place);
    } catch (const Failure&) {  // the next place, or no blkid: the box can do without
      continue;
    }
  }
  return {};
}

// The router's disks are not the host's: a device the host has is the real blkid's, any other the router's.
std::string blkid_script(const Management& management) {
  const std::string real = management.blkid.empty()
                               ? ""
                               : "[ ! -e \"$device\" ] || exec " + quoted(management.blkid) + " \"$@\"\n";
  return "#!/bin/sh\n"
         "for device; do :; done\n" +
         real +
         "if [ \"$*\" != \"-s UUID -o value /dev/${device#/dev/}\" ]; then\n"
         "  echo \"blkid: the box's knows only: blkid -s UUID -o value /dev/NAME\" >&2\n"
         "  exit 4\n"
         "fi\n"
         "exec " +
         quoted(management.program) + " --state " + kRouterState + " --uuid \"${device#/dev/}\"\n";
}

void put_blkid_first(const Management& management) {
  const std::string folder = std::string(kRouterFolder) + "/bin";
  if (::mkdir(folder.c_str(), 0755) != 0 || ::chmod(folder.c_str(), 0755) != 0)
    fail_errno("cannot make " + folder);
  write_file(folder + "/blkid", blkid_script(management), 0755);
  const char* const path = std::getenv("PATH");
  ::setenv("PATH", (folder + ":" + (path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin")).c_str(), 1);
}

}  // namespace

Management find_management(const std::string& own_folder, const std::string& state_file,
                           const std::string& log_file) {
  Management management;
  management.program = find_own(own_folder, "boxrouter", "the box's router", "--router");
  management.blkid = find_blkid();
  if (!state_file.empty()) management.state = read_file(state_file, "--router takes a readable file or none");
  if (log_file.empty()) return management;
  // Made here, because only what exists on the host can stay visible in the box.
  const Descriptor log(::open(log_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!log) fail_errno("cannot open " + log_file, "--router-log must name a file that can be written");
  management.log = fs::absolute(log_file).lexically_normal();
  return management;
}

pid_t start_management(Processes& processes, const Management& management) {
  if (::mkdir(kRouterFolder, 0755) != 0 || ::chmod(kRouterFolder, 0755) != 0)
    fail_errno(std::string("cannot make ") + kRouterFolder);
  if (!management.state.empty()) write_file(kRouterState, management.state, 0644);
  put_blkid_first(management);
  const std::string log = management.log.empty() ? kRequestLog : management.log;
  const Launch launch{
      management.program, {"boxrouter", "--state", kRouterState, "--log", log}, {}, "router | "};
  return start_service(
      processes, launch,
      {"the box's router", "port " + std::to_string(kPort), "mend the file given to --router"},
      [] { return port_accepts(kPort); });
}

}  // namespace routerbox
