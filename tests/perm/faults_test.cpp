// What a kernel without a system call does to a call's result. Runs as root in a router box.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/perm.h>

#include <cerrno>

#include "support/failing.h"

TEST(PermFaults, KeepOwnerAndModeWhereTheKernelHasNoStatx) {
  const perm_plugin_info plugin = {10009, "9", "new", 1};
  ASSERT_EQ(chown("/etc/norva/packages.json", 10001, 10002), 0);
  ASSERT_EQ(chmod("/etc/norva/packages.json", 0640), 0);
  {
    const Failing failing(Fails::kStat, 1, ENOSYS);
    EXPECT_EQ(perm_insert(&plugin), 0);
    EXPECT_TRUE(failing.has_failed());
  }
  struct stat status {};
  EXPECT_EQ(stat("/etc/norva/packages.json", &status), 0);
  EXPECT_EQ(status.st_uid, 10001U);
  EXPECT_EQ(status.st_gid, 10002U);
  EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
}
