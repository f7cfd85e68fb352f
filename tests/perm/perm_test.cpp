// Runs as root inside a router box, whose /etc/norva and shared memory are the test's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <zel/perm.h>
#include <zel/service.h>

#include <csignal>
#include <cstring>
#include <string>

#include "perm/json_file.h"
#include "perm/shared_table.h"
#include "support/captured.h"
#include "support/disk.h"
#include "support/process.h"
#include "support/wait_until.h"

namespace {

zel::AttachedTable table() {
  int result = -1;
  zel::AttachedTable attached = zel::attach_table(&result);
  EXPECT_EQ(result, 0);
  return attached;
}

// The result of perm_get_id for a user, and what its buffer holds then.
std::string id_of(uid_t uid) {
  return captured(stdout, [&] {
    run_as(uid, [] {
      char appid[64] = "untouched";
      const int result = perm_get_id(appid);
      printf("%d %s", result, appid);
      return 0;
    });
  });
}

std::string plugin(const std::string& appid, const std::string& bits = "0",
                   const std::string& uid = "10001") {
  return R"({"appname":"n","appid":")" + appid + R"(","abilitybits":)" + bits + R"(,"uid":)" + uid + "}";
}

std::string many_plugins(int count) {
  std::string list;
  for (int i = 0; i < count; ++i) list.append(i != 0 ? "," : "").append(plugin(std::to_string(100 + i)));
  return R"({"plugin":[)" + list + "]}";
}

}  // namespace

TEST(PermQueries, AnswerForEachUserAndAbility) {
  EXPECT_EQ(id_of(0), "0 1");
  EXPECT_EQ(id_of(10002), "0 1002");
  EXPECT_EQ(id_of(12345), "7015 untouched");
  static const struct {
    const char* why;
    uint32_t ability;
    const char* appid;
    int result;
  } kChecks[] = {
      {"no ability 0", 0, "1001", 7001},
      {"no ability 16", 16, "1001", 7001},
      {"a large number is not negative", 0xFFFFFFFF, "1001", 7001},
      {"null appid", 1, nullptr, 7001},
      {"15 is bit 14", 15, "1001", 0},
      {"granted", 2, "1002", 0},
      {"not granted", 1, "1002", 7016},
      {"last granted, first not", 5, "1003", 0},
      {"not a number", 1, "12a", 7001},
      {"the empty appid is a number of no plug-in", 1, "", 7015},
      {"unknown", 1, "4711", 7015},
      {"a longer appid is another", 2, "10021", 7015},
      {"the daemon may all but 2", 2, "1", 7016},
      {"the daemon may 1", 1, "1", 0},
      {"the package manager may 2", 2, "2", 0},
  };
  for (const auto& c : kChecks) EXPECT_EQ(perm_check(c.ability, c.appid), c.result) << c.why;
  EXPECT_EQ(perm_get_id(nullptr), 7001);
}

TEST(PermQueries, LogAnAppidThatIsNoNumber) {
  zel_debug = 0;  // This message has no short form.
  const std::string log = captured(stderr, [] { EXPECT_EQ(perm_check(1, "12a"), 7001); });
  EXPECT_NE(log.find("[PERM] perm_check:"), std::string::npos) << log;
  EXPECT_NE(log.find(" appid is not all digit\n"), std::string::npos) << log;
}

TEST(PermQueries, TrustTheTablesCountAsFarAsItGoes) {
  const zel::AttachedTable shared = table();
  shared->plugin_count = 0;
  EXPECT_EQ(id_of(0), "7015 untouched");
  EXPECT_EQ(perm_check(1, "1001"), 7015);
  shared->plugin_count = 1;  // Only the first used slot counts.
  EXPECT_EQ(perm_check(1, "1001"), 0);
  EXPECT_EQ(perm_check(2, "1002"), 7015);
  shared->plugin_count = 101;
  EXPECT_EQ(perm_check(1, "4711"), 7015);
  EXPECT_EQ(id_of(12345), "0 untouched");
}

TEST(PermQueries, StayInsideAFieldThatIsFull) {
  const zel::AttachedTable shared = table();
  memset(shared->plugins[0].appid, '7', 64);
  EXPECT_EQ(id_of(10001), "0 " + std::string(63, '7'));
  EXPECT_EQ(perm_check(1, std::string(64, '7').c_str()), 0);
}

TEST(PermQueries, FindNobodyInATableThatWasNeverFilled) {
  shmctl(perm_common_shm_init(), IPC_RMID, nullptr);
  EXPECT_EQ(id_of(0), "7015 untouched");
  EXPECT_EQ(perm_check(1, "1"), 7015);
}

TEST(PermLock, IsGivenBackByTheKernelAndNeverGivenTwice) {
  const int semid = table()->semid;
  EXPECT_EQ(run_as(0, [&] { return perm_common_sem_p(semid); }), 0);  // Ends while it holds the lock.
  EXPECT_EQ(semctl(semid, 0, GETVAL), 1);

  perm_common_sem_p(semid);
  Process waiter(0, [semid](const Process::Self& self) {
    struct sigaction quiet {};
    quiet.sa_handler = [](int) {};
    sigaction(SIGALRM, &quiet, nullptr);  // Without SA_RESTART: the wait is interrupted again and again.
    const itimerval often = {{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    if (perm_common_sem_p(semid) != -1 || errno != EINTR)
      return 1;  // A step of its own ends with the signal.
    self.ready();
    return perm_check(1, "1001");
  });
  while (semctl(semid, 0, GETNCNT) == 0) usleep(1000);
  usleep(20000);  // Some interruptions, and after each it waits again.
  EXPECT_TRUE(wait_until([&] { return semctl(semid, 0, GETNCNT) == 1; }));
  perm_common_sem_v(semid);
  EXPECT_EQ(waiter.finish(), 0);
  EXPECT_EQ(semctl(semid, 0, GETVAL), 1);
  EXPECT_EQ(perm_common_sem_p(-1), -1);
  EXPECT_EQ(perm_common_sem_v(-1), -1);
}

TEST(PermInit, WritesTheDefaultCatalogueAndStoresIt) {
  unlink(zel::kPermissionFile);
  ASSERT_EQ(perm_init(), 0);
  const std::string file = content_of(zel::kPermissionFile);
  // In GB2312, without blanks and without a line end.
  const std::string first =
      "{\"ability\":[{\"permid\":1,\"level\":3,\"permname\":\"ability_download\",\"permlabel\":"
      "\"\xCF\xC2\xD4\xD8\","
      "\"permdescription\":"
      "\"\xCA\xD3\xC6\xB5\xA1\xA2\xCE\xC4\xBC\xFE\xB5\xC8\xD7\xCA\xD4\xB4\xCF\xC2\xD4\xD8\"},";
  EXPECT_EQ(file.substr(0, first.size()), first);
  EXPECT_EQ(file.substr(file.size() - 3), "}]}");
  const zel::AttachedTable shared = table();
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(shared->abilities[i].permid, i < 15 ? i + 1 : 0);
    EXPECT_EQ(shared->abilities[i].level, i < 15 ? 3 : 0);
  }
  EXPECT_STREQ(shared->abilities[14].permname, "ability_control_plug");
  EXPECT_STREQ(shared->abilities[14].permlabel, "\xB2\xE5\xBC\xFE\xBF\xD8\xD6\xC6");
}

TEST(PermInit, TakesFromThePackageFileWhatIsWellFormed) {
  const std::string two = R"({"plugin":[)" + plugin("7") + "," + plugin("8") + ",";
  static const struct {
    const char* why;
    std::string content;
    int result;
    int count;
    bool reserved;  // Whether the package manager's own entry was added.
  } kCases[] = {
      {"no plug-ins", R"({"plugin":[]})", 0, 2, true},
      {"key in another case", R"({"PLUGIN":[]})", 0, 2, true},
      {"lists appid 1 itself", R"({"plugin":[)" + plugin("1", "7") + "]}", 0, 2, true},
      {"room for one reserved", many_plugins(99), 0, 100, false},
      {"full is no error", many_plugins(100), 0, 100, false},
      {"over capacity", many_plugins(150), 0, 100, false},
      {"10 MB of blanks", std::string(10 << 20, ' ') + R"({"plugin":[]})", 0, 2, true},
      {"10 MB in one text", R"({"plugin":[)" + plugin(std::string(10 << 20, '5')) + "]}", 0, 3, true},
      {"empty file", "", 7007, 0, false},
      {"cut short", "{\"plugin\":[", 7007, 0, false},
      {"binary noise", std::string("\x00\xff\x7f\x00{", 5), 7007, 0, false},
      {"no array", R"({"plugins":[]})", 7007, 0, false},
      {"array of another type", R"({"plugin":{}})", 7007, 0, false},
      {"root of another type", "[]", 7007, 0, false},
      {"uid is a text", two + plugin("9", "0", "\"9\"") + "]}", 7007, 2, false},
      {"element is no object", two + "[]]}", 7007, 2, false},
      {"member missing", two + R"({"appid":"9","appname":"n","uid":1}]})", 7007, 2, false},
  };
  for (const auto& c : kCases) {
    put(zel::kPackageFile, c.content);
    EXPECT_EQ(perm_init(), c.result) << c.why;
    EXPECT_EQ(table()->plugin_count, c.count) << c.why;
    EXPECT_EQ(perm_check(1, "2"), c.reserved ? 0 : 7015) << c.why;
  }
}

TEST(PermInit, CutsTextsAndKeepsBitPatterns) {
  put(zel::kPackageFile, R"({"plugin":[{"appname":")" + std::string(100, 'n') +
                             R"(","appid":"123","abilitybits":4294967293,"uid":-2,"other":[]},)" +
                             plugin("1", "7") + "]}");
  ASSERT_EQ(perm_init(), 0);
  const zel::AttachedTable shared = table();
  EXPECT_EQ(std::string(shared->plugins[0].appname), std::string(63, 'n'));
  EXPECT_EQ(shared->plugins[0].abilitybits, 0xFFFFFFFD);
  EXPECT_EQ(shared->plugins[0].uid, 0xFFFFFFFE);
  EXPECT_EQ(shared->plugins[1].abilitybits, 7U) << "a listed daemon keeps its own abilities";
  EXPECT_STREQ(shared->plugins[2].appname, "NPKG");
}

TEST(PermInit, NeedsAUsablePermissionFileBeforeAnythingElse) {
  static const struct {
    const char* why;
    const char* content;
    int stored;
  } kCases[] = {
      {"empty", "", 0},
      {"no array", R"({"ability":1})", 0},
      {"level is a text",
       R"({"ability":[{"permid":1,"level":3,"permname":"","permlabel":"","permdescription":""},
                      {"permid":2,"level":"3","permname":"","permlabel":"","permdescription":""}]})",
       1},
  };
  for (const auto& c : kCases) {
    put(zel::kPermissionFile, c.content);
    EXPECT_EQ(perm_init(), 7006) << c.why;
    EXPECT_EQ(table()->abilities[0].permid, c.stored) << c.why;
    EXPECT_EQ(table()->abilities[1].permid, 0) << c.why;
    EXPECT_EQ(table()->plugin_count, 0) << c.why;
  }
}

TEST(PermFiles, NameTheirOwnFailures) {
  const auto replace = [](auto make) {
    unlink(zel::kPackageFile);
    rmdir(zel::kPackageFile);
    make();
  };
  perm_table local{};
  replace([] {});
  EXPECT_EQ(perm_common_read_plugin_file(&local), 7018);
  EXPECT_EQ(perm_common_analyze_pluginfo(&local), 0);
  replace([] { mkdir(zel::kPackageFile, 0755); });
  EXPECT_EQ(perm_common_read_plugin_file(&local), 7008);
  EXPECT_EQ(perm_common_analyze_pluginfo(&local), 7012);
  replace([] { mkfifo(zel::kPackageFile, 0644); });
  EXPECT_EQ(perm_common_read_plugin_file(&local), 7010);
  replace([] { put(zel::kPackageFile, "{"); });
  EXPECT_EQ(perm_common_read_plugin_file(&local), 7011);
  EXPECT_EQ(run_as(10001, [&] { return perm_common_read_plugin_file(&local) == 7008 ? 0 : 1; }), 0)
      << "reading needs write permission";

  unlink(zel::kPermissionFile);
  mkdir(zel::kPermissionFile, 0755);
  EXPECT_EQ(perm_common_write_permissioninfo(), 7008);
  EXPECT_EQ(perm_common_analyze_permission(&local), 7012);
  rmdir(zel::kPermissionFile);
  EXPECT_EQ(run_as(10001, [&] { return perm_common_analyze_permission(&local) == 7014 ? 0 : 1; }), 0);

  for (int (*step)(perm_table*) :
       {perm_common_analyze_permission, perm_common_analyze_pluginfo, perm_common_read_permission_file,
        perm_common_read_plugin_file, perm_common_system_app_uid_by_appid}) {
    EXPECT_EQ(step(nullptr), 7001);
  }
}
