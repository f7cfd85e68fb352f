// zelctl doctor: what of the things that plug-ins need is not as it should be, and what to do.
#include <dlfcn.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <zel/device.h>
#include <zel/http.h>
#include <zel/util.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "families.h"
#include "handles.h"
#include "output.h"
#include "package_list.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kWaitMs = 3000;
constexpr const char* kAccessLists = "/usr/share/acl.d";
constexpr const char* kInitAgain = "zelctl perm init --again";

// What was looked at.
class Report {
 public:
  Report() : checks_(add_array(result_.json(), "checks")) { result_.row("CHECK\tSTATE\tFOUND"); }

  void good(const char* check, const std::string& found) { add(check, "good", found, ""); }
  void wrong(const char* check, const char* advice, const std::string& found) {
    ++wrong_;
    add(check, "WRONG", found, advice);
  }
  // What is no fault here but may be one elsewhere, or cannot be told.
  void open(const char* check, const char* advice, const std::string& found) {
    add(check, "open", found, advice);
  }

  int show() {
    add_number(result_.json(), "wrong", wrong_);
    result_.line("%s", wrong_ == 0 ? "nothing is wrong" : advice_.c_str());
    const Exit exit = wrong_ == 0 ? kDone : kNo;
    result_.show(exit);
    return exit;
  }

 private:
  void add(const char* check, const char* state, const std::string& found, const char* advice) {
    cJSON* const row = append_object(checks_);
    add_text(row, "check", check);
    add_text(row, "state", state);
    add_text(row, "found", found.c_str());
    add_text(row, "advice", advice);
    result_.row("%s\t%s\t%s", check, state, found.c_str());
    if (*advice != '\0') append(&advice_, "%s%s: %s", advice_.empty() ? "" : "\n", check, advice);
  }

  Result result_;
  cJSON* checks_;
  std::string advice_;
  int wrong_ = 0;
};

// ---- The permission table ---------------------------------------------------------------------------------

void check_semaphore(const perm_table& table, Report* report) {
  int value = semctl(table.semid, 0, GETVAL);
  for (int tenths = 0; value == 0 && tenths < 10; ++tenths) {
    usleep(100'000);
    value = semctl(table.semid, 0, GETVAL);
  }
  if (value == 1) return report->good("semaphore", "free");
  if (value == 0)
    return report->wrong(
        "semaphore", "Plug-ins wait for it. If that process hangs, end it: the semaphore is free then.",
        format("held for over a second; process %d had it last", semctl(table.semid, 0, GETPID)));
  report->wrong("semaphore", kInitAgain,
                value == -1 ? "there is none" : format("its value is %d instead of 1", value));
}

bool check_table(const perm_table& table, Report* report) {
  if (!is_filled(table)) {
    report->wrong("table", "zelctl perm init", "not initialised");
    return false;
  }
  check_semaphore(table, report);
  if (is_filled_to_its_end(table))
    report->good("table", format("%d plug-ins", table.plugin_count));
  else
    report->wrong("table", "zelctl perm lint, then: zelctl perm init --again", "not filled to its end");
  return true;
}

void check_packages(const perm_table& table, Report* report) {
  const PackageList list = read_package_list(kPackageFile);
  if (!list.problems.empty())
    return report->wrong("packages", "zelctl perm lint",
                         format("faults in %s: %zu", kPackageFile, list.problems.size()));
  const size_t count = differing(list, table).size();
  if (count != 0)
    return report->wrong("packages",
                         "zelctl perm save (the table counts), or zelctl perm init --again (the file does)",
                         format("differ from the table: %zu plug-ins", count));
  report->good("packages", "as the table");
}

void check_accounts(const perm_table& table, Report* report) {
  std::string missing;
  each_plugin(table, [&](const perm_plugin_slot& plugin) {
    const passwd* const account = getpwuid(plugin.uid);
    if (account == nullptr || getgrgid(account->pw_gid) == nullptr) append(&missing, " %.64s", plugin.appid);
  });
  if (missing.empty()) return report->good("accounts", "every plug-in's user and group has a name");
  report->wrong(
      "accounts",
      "Give their users and groups names in /etc/passwd and /etc/group: the broker knows no others.",
      format("missing for%s", missing.c_str()));
}

// ---- What answers -----------------------------------------------------------------------------------------

// Connects; true if the other side sends something, when that is awaited.
bool answers(const sockaddr_un& address, bool awaited) {
  const Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
  pollfd wait{fd.get(), POLLIN, 0};
  char first = 0;
  return !awaited || (poll(&wait, 1, kWaitMs) == 1 && recv(fd.get(), &first, 1, 0) == 1);
}

// Where brokers of either generation listen.
constexpr const char* kSockets[] = {"/var/run/ubus/ubus.sock", "/var/run/ubus.sock"};

void check_bus(Report* report) {
  for (const char* path : kSockets) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qo_strncpy(address.sun_path, path, sizeof address.sun_path);
    if (answers(address, true)) return report->good("bus", "greets");
    if (answers(address, false))
      return report->wrong("bus", "The broker hangs, or sends this user away: see accounts, and ps.",
                           "takes connections, but does not greet");
  }
  report->wrong("bus", "Start the broker: ubusd", format("no broker at %s", kSockets[0]));
}

void check_access_lists(Report* report) {
  const Folder folder(opendir(kAccessLists));
  const dirent* entry = nullptr;
  size_t count = 0;
  std::string refused;
  while (folder && (entry = readdir(folder.get())) != nullptr) {
    if (!std::string_view(entry->d_name).ends_with(".json")) continue;
    ++count;
    struct stat about {};
    if (fstatat(dirfd(folder.get()), entry->d_name, &about, 0) != 0 || about.st_uid != 0 ||
        (about.st_mode & 022) != 0)
      append(&refused, " %s", entry->d_name);
  }
  if (!refused.empty())
    return report->wrong("access lists",
                         "Have them belong to root, who alone may write: the broker takes no others.",
                         format("of %zu in %s not root's alone:%s", count, kAccessLists, refused.c_str()));
  if (count != 0) return report->good("access lists", format("%zu in %s", count, kAccessLists));
  report->open("access lists", "Where the broker is ubusd, users other than root then see and call nothing.",
               format("none in %s", kAccessLists));
}

void check_router(Report* report) {
  char answer[ZEL_HTTP_RESULT_SIZE] = "";
  if (HttpGet(answer, "http://" ZEL_ROUTER_HOST ":14000/api?method=query_router_info", kWaitMs / 1000, 1) ==
      0)
    return report->good("port 14000", "the management interface answers");
  report->wrong("port 14000", "Start the router's management. In a box: routerbox --router",
                "the management interface does not answer");
}

void check_downloads(Report* report) {
  static constexpr char kQuestion[] = R"({"jsonrpc":"2.0","id":"1","method":"aria2.getVersion"})";
  char answer[ZEL_HTTP_RESULT_SIZE] = "";
  if (HttpPostBuffer(answer, "http://" ZEL_DOWNLOAD_HOST ":6800/jsonrpc", kQuestion, sizeof kQuestion - 1,
                     kWaitMs / 1000, 1) == 0)
    return report->good("port 6800", "the download daemon answers");
  report->wrong("port 6800", "Start the download daemon. In a box: routerbox --downloads",
                "the download daemon does not answer");
}

void check_information(Report* report) {
  zel_device_info device;
  if (zel_get_device_info(&device) == 0)
    return report->good("information", "/tmp/norva_daemon.info is there");
  report->wrong("information", "zelctl device info", "/tmp/norva_daemon.info cannot be used");
}

// ---- Programs ---------------------------------------------------------------------------------------------

bool is_on_path(const char* program) {
  const char* const path = std::getenv("PATH");
  for (const std::string& folder : words_of(path != nullptr ? path : "", ':')) {
    if (access(format("%s/%s", folder.c_str(), program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

void check_tools(Report* report) {
  std::string missing;
  for (const char* program : {"sh", "ps", "grep", "free", "df", "mount", "blkid"}) {
    if (!is_on_path(program)) append(&missing, " %s", program);
  }
  constexpr const char* kScript = "/usr/local/localshell/norva_daemon_shell";
  if (access(kScript, X_OK) != 0) append(&missing, " %s", kScript);
  if (missing.empty()) return report->good("tools", "all that the library runs");
  report->wrong("tools", "Put them on PATH: the library runs them.", format("missing:%s", missing.c_str()));
}

void show_versions(Report* report) {
  Dl_info library{};
  char path[PATH_MAX] = "?";
  // The call's address as a program that is not position-independent has it is one of its own.
  if (dladdr(dlsym(RTLD_NEXT, "zel_lock"), &library) != 0 && realpath(library.dli_fname, path) == nullptr)
    std::strcpy(path, "?");
  utsname kernel{};
  uname(&kernel);
  report->good("versions", format("zelctl " ZELCTL_VERSION ", %s, %s %s %s", path, kernel.sysname,
                                  kernel.release, kernel.machine));
}

int examine(const Call&) {
  Report report;
  {
    const AttachedTable table = attach_table();
    if (check_table(*table, &report)) {
      check_packages(*table, &report);
      check_accounts(*table, &report);
    }
  }
  for (const auto check : {check_bus, check_access_lists, check_router, check_downloads, check_information,
                           check_tools, show_versions})
    check(&report);
  return report.show();
}

constexpr Command kCommands[] = {
    {"doctor", "", "What is wrong on this router, and what to do. The status is 1 if anything is",
     "zelctl doctor", examine},
};

}  // namespace

constinit const Family kDoctorFamily = {"doctor", "What is wrong, and what to do", kCommands};

}  // namespace zelctl
