// The box without root. As root these tests become user 4242, with account and subordinate ids that exist in
// a mount namespace of the test only; for anybody else the other tests are the proof.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string_view>

#include "isolation/subids.h"
#include "run.h"

namespace {

constexpr const char* kAccount = "tester:x:4242:4242::/:/bin/sh\n";
constexpr const char* kRange = "tester:100000:65536\n";

class OrdinaryUser : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    // Entering a user namespace needs a process with one thread.
    if (std::string_view(ZEL_SANITIZE) == "thread") GTEST_SKIP() << "the sanitizer runs a thread of its own";
  }

  // The programs and the package file are bound to a folder that the user may enter, wherever they lie.
  Outcome run_as_tester(const std::string& line, const std::string& with = {}) const {
    folder_.file("passwd", run("cat /etc/passwd").output + kAccount);
    folder_.file("ranges", kRange);
    folder_.file("packages", run("cat $PACKAGES").output);
    for (const char* name : {"build", "project"}) std::filesystem::create_directory(folder_.path(name));
    std::filesystem::permissions(folder_.path("project"), std::filesystem::perms(0777));
    const std::string script =
        folder_.file("become",
                     "set -e\ncd ${0%/*}\n"
                     "mount --bind passwd /etc/passwd\n"
                     "mount --bind ranges /etc/subuid\n"
                     "mount --bind ranges /etc/subgid\n"
                     "mount --bind ${ROUTERBOX%/bin/*} build\n"
                     "export ROUTERBOX=$PWD/build/bin/routerbox PACKAGES=$PWD/packages\n"
                     "cd project\nexec " +
                         with + " setpriv --reuid 4242 --regid 4242 --clear-groups " + line + "\n");
    return run("exec unshare -m sh " + script);
  }

  const HostFolder folder_;
};

TEST_F(OrdinaryUser, HasTheWholeBox) {
  const Outcome outcome = run_as_tester(
      "$ROUTERBOX -q --packages $PACKAGES --start '1003 sh -c \"id -un; touch /tmp/a\"' --as 1004 -- "
      "sh -c 'until [ -e /tmp/a ]; do sleep 0.01; done; grep -q 4242 /proc/self/uid_map && echo $(id -un; "
      "stat -c %u /etc/norva; "
      "cat /proc/1/comm; wc -l </proc/sysvipc/sem); test -S /var/run/ubus/ubus.sock'");
  EXPECT_EQ(0, outcome.status) << outcome.output;
  EXPECT_NE(std::string::npos, outcome.output.find("zel1004 0 routerbox 2\n")) << outcome.output;
  EXPECT_NE(std::string::npos, outcome.output.find("1003 | zel1003\n")) << outcome.output;
}

TEST_F(OrdinaryUser, HasTheVerbsToo) {
  folder_.file("author",
               "echo '[[plugin]]\nname = \"night\"\nappid = \"3001\"\nrun = \"sleep 1000\"' >box.toml\n"
               "$ROUTERBOX up && $ROUTERBOX ps && $ROUTERBOX exec --as night -- sh -c 'id -u; umask 077; "
               "mkdir own; touch own/mark'\n"
               "$ROUTERBOX down && ls .box/night/own\n"
               "$ROUTERBOX run -- stat -c %u .box/night/own; rm -r .box && echo removed\n");
  const Outcome outcome = run_as_tester("sh ../author");
  for (const char* text : {"night  3001   10001  running", "\n10001\n", "has ended\nmark\n10001\nremoved\n"})
    EXPECT_NE(std::string::npos, outcome.output.find(text)) << outcome.output;
}

TEST_F(OrdinaryUser, IsToldWhatToDoWhereUserNamespacesAreForbidden) {
  // In a user namespace, of which the setting is; it takes effect for those below.
  const std::string limit = folder_.file("limit",
                                         "#!/bin/sh\n"
                                         "echo 0 >/proc/sys/user/max_user_namespaces && exec \"$@\"\n");
  const std::string part = folder_.file(
      "part",
      "#!/bin/sh\n"
      "unshare -U sh -c 'until [ $(id -u) = 0 ]; do sleep 0.01; done; exec \"$@\"' - \"$@\" &\n"
      "until [ \"$(readlink /proc/$!/ns/user)\" != \"$(readlink /proc/$$/ns/user)\" ]; do sleep 0.01; "
      "done\n"
      "for map in uid gid; do echo 0 0 100000 >/proc/$!/${map}_map; done\n"
      "wait $!\n");
  const Outcome outcome = run_as_tester("$ROUTERBOX -- true", part + " " + limit);
  EXPECT_EQ(125, outcome.status) << outcome.output;
  EXPECT_NE(std::string::npos, outcome.output.find("sudo sysctl user.max_user_namespaces=15000"))
      << outcome.output;
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
