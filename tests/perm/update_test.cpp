// Runs as root inside a router box, whose /etc/norva and shared memory are the test's own. The box filled the table
// with five plug-ins, 1001 to 1005, and then the reserved ones.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include "perm/json_file.h"
#include "perm/shared_table.h"
#include "perm/slot_store.h"
#include "support/disk.h"
#include "support/process.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// What the library does to files, a letter each: Write, Flush, Move, flush of the Directory. The real functions and
// those in front of them have the linker's names (--wrap).
static std::string steps;
static char failing = '\0';
static bool fails(char step) {
  steps += step;
  errno = EIO;
  return step == failing;
}
static mode_t type_of(int fd) {
  struct stat now {};
  return fstat(fd, &now) == 0 ? now.st_mode & S_IFMT : 0;
}
extern "C" {
ssize_t __real_write(int fd, const void* bytes, size_t size);
int __real_fsync(int fd);
int __real_renameat(int from, const char* name, int to, const char* new_name);
ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
  return type_of(fd) == S_IFREG && fails('W') ? -1 : __real_write(fd, bytes, size);
}
int __wrap_fsync(int fd) {
  return fails(type_of(fd) == S_IFDIR ? 'D' : 'F') ? -1 : __real_fsync(fd);
}
int __wrap_renameat(int from, const char* name, int to, const char* new_name) {
  return fails('M') ? -1 : __real_renameat(from, name, to, new_name);
}
}

namespace {

// Every byte depends on the bits, so that half of one record and half of another are no record.
perm_plugin_info record(const std::string& appid, uint32_t bits) {
  perm_plugin_info plugin{~bits, "", "z", bits};
  memset(plugin.appname + 1, 'a' + static_cast<int>(bits % 26), sizeof plugin.appname - 2);
  qo_strncpy(plugin.appid, appid.c_str(), sizeof plugin.appid);
  return plugin;
}
int insert(const std::string& appid, uint32_t bits = 1) {
  const perm_plugin_info plugin = record(appid, bits);
  return perm_insert(&plugin);
}
int update(const std::string& appid, uint32_t bits = 1) {
  const perm_plugin_info plugin = record(appid, bits);
  return perm_update(&plugin);
}

zel::AttachedTable table() {
  int result = -1;
  return zel::attach_table(&result);
}

struct stat status(const char* path = zel::kPackageFile) {
  struct stat result {};
  stat(path, &result);
  return result;
}

auto entries(const char* path) {
  return std::distance(fs::directory_iterator(path), fs::directory_iterator());
}

// What is wrong with the table, with every plug-in as `record` makes it or as the box did; or nothing.
std::string fault_of(const perm_table& shared) {
  int used = 0;
  for (const perm_plugin_slot& slot : shared.plugins) {
    const perm_plugin_slot free{};
    if (slot.used == 0 && memcmp(&slot, &free, sizeof slot) != 0) return "a free slot is not empty";
    if (slot.used == 0) continue;
    ++used;
    if (slot.appname[0] != 'z') continue;  // One of the box.
    const perm_plugin_info whole = record(slot.appid, slot.abilitybits);
    if (memcmp(&slot.uid, &whole, sizeof whole) != 0) return "a record is not whole";
  }
  return used == shared.plugin_count ? "" : "the count is wrong";
}

// What differs between the table and the file, or nothing.
std::string difference(const perm_table& shared) {
  perm_table stored{};
  if (const int result = perm_common_read_plugin_file(&stored); result != 0) return std::to_string(result);
  const perm_plugin_slot* next = stored.plugins;
  for (const perm_plugin_slot& slot : shared.plugins) {
    if (slot.used != 0 && memcmp(&slot, next++, sizeof slot) != 0) return slot.appid;
  }
  return stored.plugin_count == shared.plugin_count ? "" : "the file holds more";
}

// All three changes, over and over.
[[noreturn]] void change_for_ever() {
  for (uint32_t bits = 1;; ++bits) {
    const std::string appid = std::to_string(2000 + bits % 7);
    insert(appid, bits);
    update(appid, ~bits);
    update("1001", bits);
    perm_delete(std::to_string(2000 + (bits + 3) % 7).c_str());
  }
}

}  // namespace

TEST(PermUpdates, GiveTheirCodesAndWriteOnlyWhatChanged) {
  static const struct {
    const char* why;
    int (*call)();
    int result;
    bool written;
  } kSteps[] = {
      {"new", [] { return insert("123", 0xFFFFFFFF); }, 0, true},
      {"already there", [] { return insert("123", 2); }, 7021, false},
      {"identical", [] { return update("123", 0xFFFFFFFF); }, 0, false},
      {"other bits", [] { return update("123", 2); }, 0, true},
      {"unknown", [] { return update("4711"); }, 7015, false},
      {"unknown", [] { return perm_delete("4711"); }, 7015, false},
      {"known", [] { return perm_delete("1002"); }, 0, true},
      {"not any more", [] { return perm_delete("1002"); }, 7015, false},
      {"letters", [] { return insert("aB"); }, 0, true},
      {"in another case", [] { return insert("Ab"); }, 7021, false},
      {"in another case", [] { return perm_delete("Ab"); }, 0, true},
  };
  for (const auto& step : kSteps) {
    const ino_t before = status().st_ino;
    EXPECT_EQ(step.call(), step.result) << step.why;
    EXPECT_EQ(status().st_ino != before, step.written) << step.why;
    EXPECT_EQ(fault_of(*table()), "") << step.why;
    EXPECT_EQ(difference(*table()), "") << step.why;
  }
  for (const int result : {perm_insert(nullptr), perm_update(nullptr), perm_delete(nullptr),
                           perm_common_write_pluginfo(nullptr)})
    EXPECT_EQ(result, 7001);
  EXPECT_STREQ(table()->plugins[1].appid, "") << "a deleted plug-in leaves a hole";
  insert("9");
  EXPECT_STREQ(table()->plugins[1].appid, "9") << "which the next insert fills";
}

TEST(PermUpdates, WriteTheFormatThatTheNextBootReads) {
  memset(table()->plugins, 0, sizeof table()->plugins);
  table()->plugin_count = 0;
  EXPECT_EQ(perm_delete("1"), 0) << "deleting from an empty table";
  EXPECT_EQ(content_of(zel::kPackageFile), R"({"plugin":[]})");
  perm_plugin_info full = record("7", 0xFFFFFFFF);
  memset(full.appname, 'x', sizeof full.appname);  // No place for the NUL.
  full.uid = 0xFFFFFFFE;
  EXPECT_EQ(perm_insert(&full), 0);
  EXPECT_EQ(content_of(zel::kPackageFile), R"({"plugin":[{"appname":")" + std::string(63, 'x') +
                                               R"(","appid":"7","abilitybits":-1,"uid":-2}]})");
}

TEST(PermUpdates, TrustTheTablesCountAsFarAsItGoes) {
  for (int i = 0; i < 93; ++i) ASSERT_EQ(insert(std::to_string(3000 + i)), 0);
  const zel::AttachedTable shared = table();
  EXPECT_EQ(shared->plugin_count, 100);
  const perm_table full = *shared;
  const ino_t before = status().st_ino;
  EXPECT_EQ(insert("9"), 0) << "a full table drops the plug-in silently";
  EXPECT_EQ(memcmp(shared.get(), &full, sizeof full), 0);
  const ino_t after_insert = status().st_ino;
  EXPECT_NE(after_insert, before);

  shared->plugin_count = 101;  // More than there are slots: no walk is counted out.
  EXPECT_EQ(update("4711"), 0);
  EXPECT_EQ(status().st_ino, after_insert);
  EXPECT_EQ(perm_delete("4711"), 0);
  EXPECT_NE(status().st_ino, after_insert);
  shared->plugin_count = 1;  // Only the first used slot counts, and is written.
  EXPECT_EQ(perm_delete("1002"), 7015);
  EXPECT_EQ(update("1001"), 0);
  EXPECT_EQ(difference(*shared), "1002");
}

TEST(PermUpdates, KeepLinkModeAndOwner) {
  fs::create_directory("/etc/norva/real");
  fs::rename(zel::kPackageFile, "/etc/norva/real/list");
  ASSERT_EQ(chown("/etc/norva/real/list", 10001, 10002), 0);
  chmod("/etc/norva/real/list", 06640);
  fs::create_symlink("/etc/norva/real/second", zel::kPackageFile);
  fs::create_symlink("list", "/etc/norva/real/second");
  const ino_t before = status().st_ino;
  ASSERT_EQ(insert("9"), 0);
  const struct stat now = status("/etc/norva/real/list");
  EXPECT_NE(now.st_ino, before);
  EXPECT_EQ(now.st_mode, S_IFREG | 06640U);
  EXPECT_EQ(now.st_uid, 10001U);
  EXPECT_EQ(now.st_gid, 10002U);
  EXPECT_EQ(difference(*table()), "") << "both links still lead there";

  unlink("/etc/norva/real/list");
  umask(027);
  EXPECT_EQ(update("9", 7), 0) << "what the links lead to is made";
  EXPECT_EQ(status("/etc/norva/real/list").st_mode, S_IFREG | 0640U);
}

TEST(PermUpdates, LeaveTheOldFileWhenTheNewOneCannotBe) {
  static constexpr char kFolder[] = "/etc/norva/small";
  mount_disk(kFolder, "size=64k");
  fs::copy(zel::kPackageFile, "/etc/norva/small/list");
  fs::remove(zel::kPackageFile);
  fs::create_symlink("small/list", zel::kPackageFile);
  for (int i = 0; i < 35; ++i) ASSERT_EQ(insert(std::to_string(3000 + i), 1), 0);
  const std::string old = content_of(zel::kPackageFile);
  ASSERT_GT(old.size(), 4096U);
  const auto write_file = [] { return perm_common_write_pluginfo(table().get()); };
  ASSERT_EQ(mount("", kFolder, "", MS_REMOUNT, "size=8k"), 0) << "two such files do not fit";
  EXPECT_EQ(insert("9", 1), 7014);
  EXPECT_EQ(write_file(), 7013);
  EXPECT_EQ(content_of(zel::kPackageFile), old);
  EXPECT_EQ(entries(kFolder), 1);
  EXPECT_EQ(perm_check(1, "9"), 0) << "the table has the change";
  fs::remove(zel::kPackageFile);
  fs::create_symlink("/dev/full", zel::kPackageFile);
  EXPECT_EQ(write_file(), 7013);
  EXPECT_TRUE(S_ISCHR(status().st_mode)) << "a device stays one";
  fs::remove(zel::kPackageFile);
  EXPECT_EQ(write_file(), 0);
  fs::permissions("/etc/norva", fs::perms::all);
  EXPECT_EQ(run_as(10001, [&] { return write_file() == 7008 ? 0 : 1; }), 0)
      << "who may not write the old file";
}

TEST(PermUpdates, ReachTheDiskBeforeTheyReplaceTheFile) {
  static const struct {
    char failing;
    const char* steps;
    int result;
    bool written;
  } kCases[] = {{'W', "W", 7014, false},
                {'F', "WF", 7014, false},
                {'M', "WFM", 7014, false},
                {'D', "WFMD", 7014, true},
                {'\0', "WFMD", 0, true}};
  for (const auto& c : kCases) {
    const std::string old = content_of(zel::kPackageFile);
    steps.clear();
    failing = c.failing;
    EXPECT_EQ(update("1001", static_cast<uint32_t>(c.failing)), c.result) << c.steps;
    EXPECT_EQ(steps, c.steps);
    EXPECT_EQ(content_of(zel::kPackageFile) != old, c.written) << c.steps;
    EXPECT_EQ(entries("/etc/norva"), 2) << c.steps;
  }
  unlink(zel::kPermissionFile);
  steps.clear();
  EXPECT_EQ(perm_common_write_permissioninfo(), 0);
  EXPECT_EQ(steps, "WFMD") << "a permission file appears whole, too";
}

TEST(PermUpdates, ThatDidNotReachTheFileDoSoWhenTheyAreRepeated) {
  static const struct {
    const char* why;
    int (*call)();
    int result;  // when repeated
  } kCases[] = {{"insert", [] { return insert("9"); }, 7021},
                {"update", [] { return update("9", 2); }, 0},
                {"delete", [] { return perm_delete("9"); }, 7015}};
  for (const auto& c : kCases) {
    failing = 'W';
    EXPECT_EQ(c.call(), 7014) << c.why;
    EXPECT_EQ(c.call(), 7014) << c.why << " again";
    failing = '\0';
    EXPECT_EQ(c.call(), c.result) << c.why;
    EXPECT_EQ(difference(*table()), "") << c.why;
    const ino_t written = status().st_ino;
    EXPECT_EQ(c.call(), c.result) << c.why;
    EXPECT_EQ(status().st_ino, written) << c.why << ": there is nothing to write any more";
  }
}

TEST(PermUpdates, CountOnFromAnyCountWithoutOverflow) {
  const zel::AttachedTable shared = table();
  shared->plugin_count = INT32_MAX;
  EXPECT_EQ(insert("9"), 0);
  EXPECT_EQ(shared->plugin_count, INT32_MIN);
  EXPECT_EQ(perm_delete("9"), 0);
  EXPECT_EQ(shared->plugin_count, INT32_MAX);
}

TEST(PermUpdates, TakeWhatTheyFindInTheFolder) {
  EXPECT_EQ(system("touch -d 2039-01-01 /etc/norva/packages.json"), 0);
  fs::create_directory("/etc/norva/.packages.json.new-" + std::to_string(gettid()));
  EXPECT_EQ(insert("9"), 0) << "a date after 2038, and a folder with the new file's name";
  fs::create_directory("/etc/norva/links");
  int made = 1;
  for (const int links : {40, 41}) {
    fs::rename(zel::kPackageFile, "/etc/norva/links/0");
    for (; made < links; ++made)
      fs::create_symlink(std::to_string(made - 1), "/etc/norva/links/" + std::to_string(made));
    fs::create_symlink("/etc/norva/links/" + std::to_string(links - 1), zel::kPackageFile);
    EXPECT_EQ(update("9", static_cast<uint32_t>(links)), links == 40 ? 0 : 7014) << "the kernel follows 40";
    fs::rename("/etc/norva/links/0", zel::kPackageFile);
  }
}

TEST(PermUpdates, OfEightProcessesAtOnceAreAllKept) {
  std::vector<std::unique_ptr<Process>> processes;
  for (int p = 0; p < 8; ++p) {
    processes.push_back(std::make_unique<Process>(0, [p](const Process::Self& self) {
      self.ready();
      int wrong = 0;
      for (int i = 0; i < 10; ++i) {
        const std::string appid = std::to_string(2000 + 10 * p + i);
        wrong |= insert(appid) | update(appid, 1U << i) | (insert(appid) ^ 7021);
        if (i % 2 == 1) wrong |= perm_delete(appid.c_str());
      }
      return wrong != 0 ? 1 : 0;
    }));
  }
  for (const auto& process : processes) EXPECT_EQ(process->finish(), 0);
  const zel::AttachedTable shared = table();
  EXPECT_EQ(shared->plugin_count, 7 + 40);
  EXPECT_EQ(fault_of(*shared), "");
  EXPECT_EQ(difference(*shared), "");
}

// 300 kills, or fewer where they take longer than 15 seconds and one has struck half-way. ZEL_TEST_KILLS=20000,
// say, makes it that many however long, but not under ctest, which ends a test after 60 seconds: run this program
// in a box yourself.
TEST(PermUpdates, SurviveAKillAtAnyMoment) {
  const char* const wanted = getenv("ZEL_TEST_KILLS");
  const int most = wanted != nullptr ? atoi(wanted) : 300;
  const auto last = wanted != nullptr ? Clock::time_point::max() : Clock::now() + std::chrono::seconds(15);
  const zel::AttachedTable shared = table();
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  int left_over = 0;
  int i = 0;
  for (; i < most && (Clock::now() < last || left_over == 0); ++i) {
    const uint32_t changes_before = shared->plugins[0].abilitybits;
    const pid_t pid = fork();
    if (pid == 0) change_for_ever();
    while (shared->plugins[0].abilitybits == changes_before) usleep(100);  // It has begun.
    const auto end = Clock::now() + std::chrono::microseconds(random() % 1000);
    while (Clock::now() < end) sched_yield();
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);

    ASSERT_EQ(semctl(shared->semid, 0, GETVAL), 1) << "kill " << i;
    ASSERT_EQ(fault_of(*shared), "") << "kill " << i;
    perm_table stored{};
    ASSERT_EQ(perm_common_read_plugin_file(&stored), 0)
        << "kill " << i << ": " << content_of(zel::kPackageFile);
    left_over += static_cast<int>(entries("/etc/norva")) - 2;
    ASSERT_EQ(update("1001", 0), 0) << "kill " << i;
    ASSERT_EQ(difference(*shared), "") << "kill " << i;
    ASSERT_EQ(entries("/etc/norva"), 2) << "kill " << i;
  }
  printf("%d kills, %d of them with a new file half-way, seed %u\n", i, left_over, seed);
  EXPECT_GT(left_over, 0) << "no kill struck half-way";
}

// What a kill between any two instructions would leave, looked at by going through them one by one.
TEST(PermUpdates, ChangeTheTableInOneInstruction) {
  const zel::AttachedTable shared = table();
  const pid_t pid = fork();
  if (pid == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    raise(SIGSTOP);
    perm_plugin_slot slot{};
    slot.used = 1;
    for (const uint32_t bits : {1U, 0xFFFFFFFEU}) {
      const perm_plugin_info plugin = record("9", bits);
      memcpy(&slot.uid, &plugin, sizeof plugin);
      zel::store_slot(shared.get(), 7, slot, 8);
    }
    zel::store_slot(shared.get(), 7, {}, 7);
    _exit(0);
  }
  int state = 0;
  waitpid(pid, &state, 0);
  if (WIFEXITED(state)) GTEST_SKIP() << "no process can be traced here";
  std::string fault;
  int counts_seen = 0;
  for (; WIFSTOPPED(state) && fault.empty(); waitpid(pid, &state, 0)) {
    fault = fault_of(*shared);
    counts_seen |= 1 << shared->plugin_count;
    ptrace(PTRACE_SINGLESTEP, pid, nullptr, nullptr);
  }
  kill(pid, SIGKILL);
  EXPECT_EQ(fault, "");
  EXPECT_EQ(counts_seen, 1 << 7 | 1 << 8);
  EXPECT_EQ(state, 0) << "its wait status";
}
