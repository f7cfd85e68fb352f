#include "tools.h"

#include <unistd.h>

#include <cstdlib>

#include "../support/io.h"
#include "../support/places.h"
#include "../support/programs.h"

namespace routerbox {
namespace {

constexpr const char* kBusyboxTools[] = {"ps", "df", "mount", "free"};

// An ordinary user's PATH lacks the folders where system tools may be.
std::string find_tool(const std::string& name) {
  for (const char* folder : {"", "/usr/sbin/", "/sbin/"}) {
    try {
      return find_program(folder + name);
    } catch (const Failure&) {  // the next place, or none: the box can do without
      continue;
    }
  }
  return {};
}

// The router's disks are not the host's: a device the host has is the real blkid's, any other the router's.
std::string blkid_script(const Tools& tools, const std::string& router) {
  const std::string real =
      tools.blkid.empty() ? "" : "[ ! -e \"$device\" ] || exec " + quote(tools.blkid) + " \"$@\"\n";
  return "#!/bin/sh\n"
         "for device; do :; done\n" +
         real +
         "if [ \"$*\" != \"-s UUID -o value /dev/${device#/dev/}\" ]; then\n"
         "  echo \"blkid: the box's knows only: blkid -s UUID -o value /dev/NAME\" >&2\n"
         "  exit 4\n"
         "fi\n"
         "exec " +
         router + " --uuid \"${device#/dev/}\"\n";
}

}  // namespace

Tools find_tools() {
  return {find_tool("blkid"), find_tool("busybox")};
}

void put_tools(const Tools& tools, const std::string& boxrouter, const std::string& state,
               const std::string& folder) {
  const std::string router = quote(boxrouter) + " --state " + quote(state);
  const std::string bin = folder + "/bin", busybox = folder + "/busybox", daemon = kDaemonScripts;
  make_folder(bin);
  write_file(bin + "/blkid", blkid_script(tools, router), 0755);
  make_folder(daemon);
  write_file(daemon + "/norva_daemon_shell", "#!/bin/sh\nexec " + router + " --daemon \"$*\"\n", 0755);
  make_folder(busybox);
  for (const char* tool : kBusyboxTools)
    if (!tools.busybox.empty() && symlink(tools.busybox.c_str(), (busybox + "/" + tool).c_str()) != 0)
      fail_errno("cannot make a link in " + busybox);
  const char* const path = std::getenv("PATH");
  setenv("PATH", (bin + ":" + (path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin")).c_str(), 1);
}

}  // namespace routerbox
