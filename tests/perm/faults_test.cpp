// Every call with each of its system calls failing in turn: a result that perm.h names, nothing left behind, and the
// next call works. Runs as root in a router box.
#include <gtest/gtest.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/perm.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <vector>

#include "perm/shared_table.h"
#include "support/captured.h"
#include "support/failing.h"

namespace {

char appid[PERM_APPID_SIZE];
perm_table* table;  // stays attached
perm_table copy;

perm_plugin_info changed() {
  static uint32_t bits = 0;
  return {10001, "1001", "everything", ++bits};
}
int insert() {
  const perm_plugin_info plugin = {10009, "9", "new", 1};
  return perm_insert(&plugin);
}

// `undo` brings back what the call changed, or null.
const struct Call {
  const char* name;
  int (*call)();
  std::vector<int> results;  // besides 0
  void (*undo)() = nullptr;
} kCalls[] = {
    {"perm_get_id", [] { return perm_get_id(appid); }, {7003, 7004}},
    {"perm_check", [] { return perm_check(1, "1001"); }, {7003, 7004}},
    {"perm_init", [] { return perm_init(); }, {7002, 7003, 7004, 7006, 7007}},
    {"perm_insert", insert, {7003, 7004, 7014}, [] { perm_delete("9"); }},
    {"perm_delete", [] { return perm_delete("9"); }, {7003, 7004, 7014}, [] { insert(); }},
    {"perm_update",
     [] {
       const perm_plugin_info plugin = changed();
       return perm_update(&plugin);
     },
     {7003, 7004, 7014}},
    {"perm_common_sem_init", [] { return perm_common_sem_init() == table->semid ? 0 : -1; }, {-1}},
    {"perm_common_shm_init", [] { return std::min(perm_common_shm_init(), 0); }, {-1}},
    {"perm_common_write_pluginfo", [] { return perm_common_write_pluginfo(table); }, {7008, 7013}},
    {"perm_common_write_permissioninfo", perm_common_write_permissioninfo, {7008, 7013}},
    {"perm_common_read_plugin_file",
     [] { return perm_common_read_plugin_file(&copy); },
     {7008, 7009, 7010, 7011, 7018}},
    {"perm_common_analyze_permission", [] { return perm_common_analyze_permission(&copy); }, {7012, 7014}},
    {"perm_common_analyze_pluginfo", [] { return perm_common_analyze_pluginfo(&copy); }, {7012}},
};

const struct {
  Fails kind;
  int error;
} kFaults[] = {{Fails::kMemory, ENOMEM},  {Fails::kOpen, EMFILE},     {Fails::kOpen, EINTR},
               {Fails::kRead, EIO},       {Fails::kRead, EINTR},      {Fails::kWrite, ENOSPC},
               {Fails::kWrite, EINTR},    {Fails::kClose, EIO},       {Fails::kFlush, EIO},
               {Fails::kRename, EROFS},   {Fails::kStat, EIO},        {Fails::kSegment, ENOMEM},
               {Fails::kSegment, EINVAL}, {Fails::kSemaphore, EIDRM}, {Fails::kSemaphore, EINTR}};

// What a call may leave behind: attachments, descriptors, the semaphore's value, files.
std::vector<long> left_behind() {
  shmid_ds segment{};
  shmctl(perm_common_shm_init(), IPC_STAT, &segment);
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  };
  return {static_cast<long>(segment.shm_nattch), entries("/proc/self/fd"), entries("/etc/norva"),
          semctl(table->semid, 0, GETVAL)};
}

}  // namespace

TEST(PermFaults, GiveANamedResultAndLeaveNothingBehind) {
  table = perm_common_shm_map(perm_common_shm_init());
  int faults = 0;
  captured(stderr, [&] {
    for (const Call& c : kCalls) {
      for (const auto& fault : kFaults) {
        if (c.name == std::string("perm_delete")) insert();
        const std::vector<long> before = left_behind();
        int result = 0;
        faults += fail_each(
            fault.kind, fault.error, [&](int) { result = c.call(); },
            [&](int nth) {
              const std::string which = std::string(c.name) + ", kind " +
                                        std::to_string(static_cast<int>(fault.kind)) + ", call " +
                                        std::to_string(nth) + ": " + strerror(fault.error);
              EXPECT_TRUE(result == 0 || std::count(c.results.begin(), c.results.end(), result) == 1)
                  << result << " from " << which;
              EXPECT_EQ(left_behind(), before) << which;
              if (c.undo != nullptr) c.undo();
              EXPECT_EQ(c.call(), 0) << "after " << which;
              if (c.undo != nullptr) c.undo();
            });
      }
    }
  });
  printf("%d faults\n", faults);
}

TEST(PermFaults, KeepOwnerAndModeWhereTheKernelHasNoStatx) {
  ASSERT_EQ(chown("/etc/norva/packages.json", 10001, 10002), 0);
  ASSERT_EQ(chmod("/etc/norva/packages.json", 0640), 0);
  {
    const Failing failing(Fails::kStat, 1, ENOSYS);
    EXPECT_EQ(insert(), 0);
    EXPECT_TRUE(failing.has_failed());
  }
  struct stat status {};
  EXPECT_EQ(stat("/etc/norva/packages.json", &status), 0);
  EXPECT_EQ(status.st_uid, 10001U);
  EXPECT_EQ(status.st_gid, 10002U);
  EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
}
