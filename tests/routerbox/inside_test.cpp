// What can be seen and changed from inside of a box, tried from inside.
#include <gtest/gtest.h>

#include <filesystem>

#include "run.h"

namespace {

// A file of this name, unlike any on the machine, is what is made.
class Inside : public testing::Test {
 protected:
  Inside() {
    for (const char* name : {"project", "kept"}) {
      std::filesystem::create_directory(folder_.path(name));
      std::filesystem::permissions(folder_.path(name), std::filesystem::perms(0777));
    }
    // Prints the folders in which it could make the file.
    folder_.file(
        "write",
        "#!/bin/sh\n"
        "for folder in /* /*/* /var/lib/dpkg /proc/sys/kernel $FOLDER $FOLDER/kept .; do\n"
        "  [ ! -L $folder ] && [ -d $folder ] && (: >$folder/$MARK) 2>/dev/null && printf '%s ' $folder\n"
        "done; echo end\n");
    setenv("FOLDER", folder_.root().c_str(), 1);
    setenv("MARK", ("mark-" + folder_.root().substr(folder_.root().size() - 6)).c_str(), 1);
    setenv("BOX",
           "cd $FOLDER/project && $ROUTERBOX -q --packages $PACKAGES --env FOLDER --env MARK"
           " --keep $FOLDER/kept --keep $FOLDER/write",
           1);
  }
  ~Inside() override { run("rm -f " + kHidden); }

  const std::string kHidden = "/home/$MARK /mnt/$MARK /opt/$MARK /root/$MARK /var/tmp/$MARK";
  const HostFolder folder_;
};

TEST_F(Inside, PlugInsChangeTheProjectWhatIsKeptAndWhatIsForAll) {
  const Outcome outcome = run("eval \"$BOX --as 1003 -- $FOLDER/write\"");
  EXPECT_EQ("/tmp /dev/shm /var/tmp " + folder_.path("kept") + " . end\n", outcome.output);
}

TEST_F(Inside, RootChangesNothingElseOfTheMachine) {
  EXPECT_NE(std::string::npos, run("eval \"$BOX -- $FOLDER/write\"").output.find("end"));
  EXPECT_EQ("kept\nproject\n", run("find / -xdev -maxdepth 4 -name $MARK -type f -printf '%h\n' 2>/dev/null "
                                   "| sed \"s,$FOLDER/,,\" | sort")
                                   .output);
}

TEST_F(Inside, ShowsNothingOfTheMachinesPeopleAndGrantsNoPowerOverIt) {
  run("touch " + kHidden);
  const std::string look = "eval \"$BOX -- ls " + kHidden + "\" 2>/dev/null";
  setenv("LOOK", look.c_str(), 1);
  static const Case kCases[] = {
      {"homes and what people mount", "echo \"($(eval \"$LOOK\"))\"", 0, "()"},
      {"the host name", "eval \"$BOX -- hostname\"", 0, "router\n"},
      {"the caller's descriptors", "eval \"$BOX -- sh -c 'ls /proc/\\$\\$/fd'\" 7</ 9</", 0, "0\n1\n2\n"},
      {"no privileges for plug-ins by set-uid programs",
       "eval \"$BOX --as 1003 -- grep NoNewPrivs /proc/self/status\"", 0, "\t1\n"},
      {"no user namespaces for plug-ins", "eval \"$BOX --as 1003 -- unshare --user true\"", 1,
       "not permitted"},
      {"a limit to processes", "eval \"$BOX --as 1003 -- bash -c 'ulimit -u'\"", 0, "2000\n"},
      {"a limit to what fills the machine's memory", "eval \"$BOX --as 1003 -- df -h --output=size /tmp\"", 0,
       "1.0G\n"},
      {"no typing into the author's terminal",
       R"(eval "$BOX --as 1003 -- perl -e 'ioctl(STDIN, 0x5412, \$x = 1) or die \$!'")", 1, "not permitted"},
      {"not the clock, for root either", "eval \"$BOX -- date -s 2020-01-01\"", 1, "not permitted"},
      {"nor devices", "eval \"$BOX -- mknod /tmp/disk b 8 0\"", 1, "not permitted"},
      {"nor the kernel's settings", "eval \"$BOX -- sh -c 'echo 1 >/proc/sys/vm/swappiness'\"", 2,
       "Read-only"},
      {"no proxies", "export https_proxy=x ALL_PROXY=y; eval \"$BOX -- env\" | grep -ic proxy", 1, "0"},
      {"only the settings that are told to pass",
       "export SECRET=1 TOLD=2; eval \"$BOX --env TOLD --env SET=3 -- sh -c 'echo "
       "\\$SECRET-\\$TOLD-\\$SET'\"",
       0, "-2-3\n"},
  };
  check(kCases);
}

}  // namespace
