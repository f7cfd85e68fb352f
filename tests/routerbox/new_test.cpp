// A new author's first minute: what the machine lacks, a project, its tests.
#include <gtest/gtest.h>

#include "run.h"

namespace {

TEST(NewProject, BuildsAndPassesItsTestsAtOnce) {
  const HostFolder folder;
  setenv("FOLDER", folder.root().c_str(), 1);
  static const Case kCases[] = {
      {"in C", "cd $FOLDER && $ROUTERBOX new rain && rain/.ci/run", 0, "100% tests passed"},
      {"in C++", "cd $FOLDER && $ROUTERBOX new snow --cpp && snow/.ci/run", 0, "100% tests passed"},
      {"its tests can fail", "cd $FOLDER && sed -i s/thank/hate/ rain/rain.c && rain/.ci/run", 8,
       "seen      17 bytes, hate you"},
      {"a folder that is there", "$ROUTERBOX new $FOLDER/rain", 1, "it exists"},
      {"no name for a plug-in", "$ROUTERBOX new $FOLDER/2nd", 2, "'2nd' must begin with a letter"},
  };
  check(kCases);
}

TEST(Debugging, IsDoneAsThePluginsUserAndLeavesItRunning) {
  setenv("DEBUG",
         "$ROUTERBOX up -q --name d$$ --packages $PACKAGES --start '1003 sleep 100' >/dev/null;"
         " trap '$ROUTERBOX down --name d$$' EXIT; $ROUTERBOX debug 1003 --name d$$",
         1);
  static const Case kCases[] = {
      {"its user and program", "eval $DEBUG -- -batch -ex starti -ex \"'info proc'\" -ex \"'shell id -u'\"",
       0, "10003\n"},
      {"no such tool", "eval $DEBUG valgrnd", 2, "did you mean valgrind?"},
      {"it runs again", "eval $DEBUG strace -- -V; $ROUTERBOX ps --name d$$", 0, "running"},
  };
  check(kCases);
}

TEST(Doctor, SaysWhatIsMissingAndHowToGetIt) {
  static const Case kCases[] = {
      {"what every box needs is here", "$ROUTERBOX doctor --json", 0, "{\"ready\":true"},
      {"what some need",
       "mkdir -p few && ln -sf $(which newuidmap newgidmap) few && PATH=$PWD/few $ROUTERBOX doctor", 0,
       "qemu-mipsel: sudo apt-get install qemu-user\n"},
      {"no namespaces", "unshare -U $ROUTERBOX doctor", 1, "No box can run here yet"},
  };
  check(kCases);
}

}  // namespace
