#include "guard.h"

#include <fnmatch.h>
#include <grp.h>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/close_range.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pwd.h>
#include <sched.h>
#include <stddef.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "../support/failure.h"

namespace routerbox {
namespace {

constexpr const char* kPassed[] = {
    "PATH",     "TERM", "COLORTERM", "NO_COLOR",     "COLUMNS",           "LINES",   "LANG",
    "LANGUAGE", "LC_*", "TZ",        "*SAN_OPTIONS", "LLVM_PROFILE_FILE", "GTEST_*", "ZEL_TEST_*"};

constexpr int kMachinePowers[] = {CAP_SYS_MODULE, CAP_SYS_BOOT,       CAP_SYS_TIME, CAP_SYS_RAWIO,
                                  CAP_SYSLOG,     CAP_WAKE_ALARM,     CAP_MKNOD,    CAP_MAC_OVERRIDE,
                                  CAP_MAC_ADMIN,  CAP_LINUX_IMMUTABLE};

bool is_passed(const std::string& name) {
  return std::any_of(std::begin(kPassed), std::end(kPassed),
                     [&](const char* pattern) { return fnmatch(pattern, name.c_str(), 0) == 0; });
}

std::string name_in(const std::string& setting) {
  return setting.substr(0, setting.find('='));
}

#if defined(__x86_64__)
constexpr uint32_t kMachine = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr uint32_t kMachine = AUDIT_ARCH_AARCH64;
#else
#error "name this machine as its kernel's filters do"
#endif

// Refuses new user namespaces, and to type into a terminal: the command that an author starts as a plug-in has theirs.
// The arguments of clone3 cannot be looked at, so it is told to be missing, and C libraries go back to clone. To
// programs of the machine's other word sizes, whose calls have other numbers, every call is missing.
void forbid_ways_out() {
  constexpr uint32_t kCaller = offsetof(seccomp_data, arch);
  constexpr uint32_t kNumber = offsetof(seccomp_data, nr);
  // The flags are the first argument of both, on every machine that runs the box.
  constexpr uint32_t kFlags = offsetof(seccomp_data, args);
  constexpr uint32_t kRequest = kFlags + sizeof(seccomp_data::args[0]);
  constexpr uint32_t kShortPointers =
      0x40000000;  // in the numbers of x32, which are this machine's otherwise
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kCaller),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kMachine, 0, 12),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kNumber),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, kShortPointers, 10, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 9, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 4, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 5),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFlags),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_NEWUSER, 5, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kRequest),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TIOCSTI, 3, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TIOCLINUX, 2, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
  };
  const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
    fail_errno("cannot keep a plug-in in the box");
}

// One that starts others without end is to reach its own limit before the machine's.
void limit_processes() {
  constexpr rlim_t kMost = 2000;  // threads, too
  rlimit limit{};
  getrlimit(RLIMIT_NPROC, &limit);
  limit.rlim_cur = limit.rlim_max = std::min(limit.rlim_max, kMost);
  setrlimit(RLIMIT_NPROC, &limit);
}

}  // namespace

void clean_environment(const std::vector<std::string>& passed) {
  std::vector<std::string> kept;
  for (char** setting = environ; *setting != nullptr; ++setting) {
    const std::string name = name_in(*setting);
    if (is_passed(name) || std::count(passed.begin(), passed.end(), name) > 0) kept.emplace_back(*setting);
  }
  for (const std::string& setting : passed)
    if (setting.find('=') != std::string::npos) kept.push_back(setting);
  clearenv();
  setenv("HOME", "/root", 1);
  setenv("USER", "root", 1);
  setenv("PATH", "/usr/local/bin:/usr/bin:/bin", 1);
  for (const std::string& setting : kept)
    setenv(name_in(setting).c_str(), setting.substr(setting.find('=') + 1).c_str(), 1);
}

void drop_machine_powers() {
  for (const int power : kMachinePowers)
    if (prctl(PR_CAPBSET_DROP, power, 0, 0, 0) != 0) fail_errno("cannot drop powers over the machine");
}

void close_inherited() {
  if (syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC) != 0 && errno != ENOSYS)
    fail_errno("cannot close inherited descriptors");
}

void allow_cores() {
  constexpr rlim_t kLargest = rlim_t{1} << 30;
  rlimit limit{};
  getrlimit(RLIMIT_CORE, &limit);
  limit.rlim_cur = std::min(limit.rlim_max, kLargest);
  setrlimit(RLIMIT_CORE, &limit);
}

std::vector<std::string> own_environment() {
  std::vector<std::string> settings;
  for (char** setting = environ; *setting != nullptr; ++setting) settings.emplace_back(*setting);
  return settings;
}

std::vector<std::string> environment_of(uid_t uid) {
  std::vector<std::string> settings = own_environment();
  const passwd* const account = getpwuid(uid);
  if (account == nullptr) return settings;
  std::erase_if(settings, [](const std::string& setting) {
    return setting.starts_with("USER=") || setting.starts_with("HOME=");
  });
  settings.push_back(std::string("USER=") + account->pw_name);
  settings.push_back(std::string("HOME=") + account->pw_dir);
  return settings;
}

void become_plugin(uid_t uid) {
  limit_processes();
  if (setgroups(0, nullptr) != 0 || setresgid(uid, uid, uid) != 0 || setresuid(uid, uid, uid) != 0)
    fail_errno("cannot become uid " + std::to_string(uid));
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) fail_errno("cannot forbid new privileges");
  forbid_ways_out();
}

}  // namespace routerbox
