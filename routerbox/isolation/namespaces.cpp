#include "namespaces.h"

#include <grp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "../support/io.h"
#include "../support/programs.h"
#include "subids.h"

namespace routerbox {
namespace {

// Not the mounts: process 1 parts from those, so that this process keeps the host's /proc, where it exists.
constexpr int kBoxNamespaces = CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWPID | CLONE_NEWUTS;

// Kernel settings that keep ordinary users out of namespaces.
struct Switch {
  const char* file;
  long closed;  // value that forbids
  const char* advice;
};
constexpr Switch kSwitches[] = {
    {"/proc/sys/user/max_user_namespaces", 0, "sudo sysctl user.max_user_namespaces=15000"},
    {"/proc/sys/kernel/unprivileged_userns_clone", 0, "sudo sysctl kernel.unprivileged_userns_clone=1"},
    {"/proc/sys/kernel/apparmor_restrict_unprivileged_userns", 1,
     "sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0"},
};

std::string explain_refusal() {
  for (const Switch& row : kSwitches) {
    std::ifstream file(row.file);
    long value = 0;
    if (file >> value && value == row.closed)
      return std::string("user namespaces are switched off here (") + row.file + " is " +
             std::to_string(value) + "); run: " + row.advice;
  }
  return "the system forbids it; run routerbox as root, or outside the container or sandbox it is in";
}

struct IdTool {
  const char* program;
  const char* table;
};
constexpr IdTool kUidTool{"newuidmap", "/etc/subuid"};
constexpr IdTool kGidTool{"newgidmap", "/etc/subgid"};

std::string find_tool(const IdTool& tool) {
  try {
    return find_program(tool.program);
  } catch (const Failure&) {
    throw Failure(std::string(tool.program) +
                  " is missing, without it only root can run the box; run: sudo apt-get install uidmap");
  }
}

std::vector<IdRange> read_grants(const IdTool& tool, const std::string& name, uid_t highest_id) {
  std::ifstream file(tool.table);
  const std::string table((std::istreambuf_iterator<char>(file)), {});
  std::vector<IdRange> ranges = ranges_of(table, name, getuid());
  // Behind every range there is, so that no two users share ids.
  const std::string more = std::to_string(first_free_id(table)) + "-" +
                           std::to_string(first_free_id(table) + std::max(highest_id, 65535U));
  const std::string advice =
      "; run: sudo usermod --add-subuids " + more + " --add-subgids " + more + " " + name;
  if (ranges.empty()) throw Failure(name + " has no subordinate ids in " + tool.table + advice);
  if (highest_mapped(ranges) < highest_id)
    throw Failure(std::string(tool.table) + " grants " + name + " the ids up to " +
                  std::to_string(highest_mapped(ranges)) + ", but the package file uses the uid " +
                  std::to_string(highest_id) + advice);
  return ranges;
}

// A child that stays in the host's user namespace, where the set-uid tools have their power, and maps
// `owner`'s ids as soon as `owner` has entered its own. No byte on `go` means that it never will.
pid_t start_mapper(const IdTool& tool, pid_t owner, std::vector<std::string> map, Pipe* go) {
  const std::string program = find_tool(tool);
  std::vector<std::string> words{program, std::to_string(owner)};
  words.insert(words.end(), map.begin(), map.end());
  const std::vector<char*> arguments = exec_arguments(words);
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process");
  if (child > 0) return child;
  go->write = Descriptor();  // else it would wait for itself
  char byte = 0;
  if (retry([&] { return read(go->read.get(), &byte, 1); }) == 1) execv(program.c_str(), arguments.data());
  _exit(kNotExecutable);
}

bool wait_for_success(pid_t child) {
  int status = 0;
  return retry([&] { return waitpid(child, &status, 0); }) == child && status == 0;
}

void enter_user_namespace(uid_t highest_id) {
  const passwd* const account = getpwuid(getuid());
  const std::string name = account != nullptr ? account->pw_name : std::to_string(getuid());
  find_tool(kUidTool);
  find_tool(kGidTool);
  const std::vector<IdRange> uids = read_grants(kUidTool, name, highest_id);
  const std::vector<IdRange> gids = read_grants(kGidTool, name, highest_id);

  Pipe go = make_pipe();
  const pid_t uid_mapper = start_mapper(kUidTool, getpid(), map_arguments(getuid(), uids), &go);
  const pid_t gid_mapper = start_mapper(kGidTool, getpid(), map_arguments(getgid(), gids), &go);
  const int entered = unshare(CLONE_NEWUSER);
  const int error = errno;
  if (entered == 0) write_all(go.write.get(), "go");
  go.write = Descriptor();
  const bool mapped_uids = wait_for_success(uid_mapper), mapped_gids = wait_for_success(gid_mapper);
  errno = error;
  if (entered != 0) fail_errno("cannot make a user namespace", explain_refusal());
  if (!mapped_uids || !mapped_gids)
    throw Failure(
        std::string(mapped_uids ? kGidTool.program : kUidTool.program) +
        " refused to map the ids; it must be set-uid root, on a file system mounted without nosuid: "
        "sudo apt-get install --reinstall uidmap");
  if (setresgid(0, 0, 0) != 0 || setresuid(0, 0, 0) != 0)
    fail_errno("cannot become root of the user namespace");
}

}  // namespace

void enter_namespaces(uid_t highest_id) {
  const bool root = geteuid() == 0;
  if (!root) enter_user_namespace(highest_id);
  if (unshare(kBoxNamespaces) == 0) return;
  fail_errno("cannot make namespaces",
             root ? "this root lacks CAP_SYS_ADMIN; start the container with --privileged or run outside it"
                  : explain_refusal());
}

}  // namespace routerbox
