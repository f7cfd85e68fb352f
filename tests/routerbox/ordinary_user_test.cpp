// The box without root. As root these tests become user 4242, with account and subordinate ids that exist in
// a mount namespace of the test only; for anybody else the other tests are the proof.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string_view>

#include "run.h"
#include "subids.h"

namespace {

constexpr const char* kAccount = "tester:x:4242:4242::/:/bin/sh\n";
constexpr const char* kRange = "tester:100000:65536\n";

// Runs `line` as user 4242 with these texts as /etc/subuid and /etc/subgid.
Outcome run_as_tester(const HostFolder& folder, const std::string& ranges, const std::string& line) {
  const std::string accounts = run("cat /etc/passwd").output + kAccount;
  const std::string script =
      "set -e\n"
      "mount --bind " +
      folder.file("passwd", accounts) +
      " /etc/passwd\n"
      "mount --bind " +
      folder.file("ranges", ranges) +
      " /etc/subuid\n"
      "mount --bind " +
      folder.file("ranges", ranges) +
      " /etc/subgid\n"
      "exec setpriv --reuid 4242 --regid 4242 --clear-groups " +
      line + "\n";
  return run("exec unshare -m sh " + folder.file("become", script));
}

class OrdinaryUser : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    if (run("setpriv --reuid 4242 --regid 4242 --clear-groups test -x $ROUTERBOX").status != 0)
      GTEST_SKIP() << "the build folder is closed to other users";
  }
  const HostFolder folder_;
};

TEST_F(OrdinaryUser, HasTheWholeBox) {
  // Entering a user namespace needs a process with one thread.
  if (std::string_view(ZEL_SANITIZE) == "thread") GTEST_SKIP() << "the sanitizer runs a thread of its own";
  const Outcome outcome =
      run_as_tester(folder_, kRange,
                    "$ROUTERBOX -q --packages $PACKAGES --start '1003 id -un' --as 1004 -- "
                    "sh -c 'grep -q 4242 /proc/self/uid_map && echo $(id -un; stat -c %u /etc/norva; "
                    "cat /proc/1/comm; wc -l </proc/sysvipc/sem); test -S /var/run/ubus/ubus.sock'");
  EXPECT_EQ(0, outcome.status) << outcome.output;
  EXPECT_NE(std::string::npos, outcome.output.find("zel1004 0 routerbox 2\n")) << outcome.output;
  EXPECT_NE(std::string::npos, outcome.output.find("1003 | zel1003\n")) << outcome.output;
}

TEST(SubordinateIds, SeveralRangesFollowEachOtherInside) {
  const auto ranges =
      routerbox::ranges_of("a:5:1\nme:1000:10\nbroken\n77:3000:20\nme:x:1\nme:9:0\n", "me", 77);
  ASSERT_EQ(2U, ranges.size());
  EXPECT_EQ(30U, routerbox::highest_mapped(ranges));
  EXPECT_EQ((std::vector<std::string>{"0", "77", "1", "1", "1000", "10", "11", "3000", "20"}),
            routerbox::map_arguments(77, ranges));
}

}  // namespace
