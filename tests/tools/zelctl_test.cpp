// The tool as its user sees it, as root of a box that holds the plug-ins of support/packages.json. $Z runs it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/shm.h>
#include <zel/perm.h>

#include "run.h"

namespace {

class Zelctl : public testing::Test {
 protected:
  void SetUp() override {
    setenv("Z", TEST_EMULATOR " " TEST_BIN "/zelctl", 1);
    setenv("F", "/etc/norva/packages.json", 1);
  }
};

}  // namespace

TEST_F(Zelctl, ShowsWhatTheTableHolds) {
  static const Case kCases[] = {
      {"aligned", "$Z perm list", 0, "APPID  UID    ABILITIES  NAME\n1001   10001  1-15       everything\n"},
      {"by name", "$Z perm show 1005", 0, "2,4-5 (0x0000001A)\n  2        ability_cloud_communication\n"},
      {"for scripts", "$Z --json perm list", 0,
       R"({"appid":"1005","appname":"cloud and events","uid":10005,"abilitybits":26,"abilities":[2,4,5]})"},
      {"granted", "$Z perm check 1002 cloud_communication", 0, "1002 holds ability 2"},
      {"not granted", "$Z perm check 1002 ability_wan", 1,
       "ability 7 (ability_wan): the plug-in does not hold"},
      {"names from outside harm no terminal",
       "printf '{\"plugin\":[{\"appname\":\"\\\\u001b[2J\\302\\233\\316\\251\\377\\355\\240\\200\","
       "\"appid\":\"7\",\"abilitybits\":0,\"uid\":5}]}' >$F; $Z perm init && $Z perm list",
       0, "7      5    none       ?[2J?\u03a9????\n"},
  };
  check(kCases);
}

TEST_F(Zelctl, ChangesTheTableAndItsFile) {
  static const Case kCases[] = {
      {"insert", "$Z perm insert 7 --name weather --uid 70 --abilities 2,wan,10-12 && tail -c 63 $F", 0,
       R"({"appname":"weather","appid":"7","abilitybits":3650,"uid":70}]})"},
      {"update keeps the rest", "$Z perm update 7 --abilities all && tail -c 61 $F", 0,
       R"({"appname":"weather","appid":"7","abilitybits":-1,"uid":70}]})"},
      {"bits as they are", "$Z perm update 7 --abilities 0x80000001 --json", 0, "\"abilitybits\":2147483649"},
      {"a uid that another has", "$Z perm update 7 --uid 10002", 0, "note: uid 10002 is also that of 1002"},
      {"delete", "$Z perm delete 7 && ! grep weather $F", 0, "7 deleted\n"},
  };
  check(kCases);
}

TEST_F(Zelctl, SaysWhatFailedAndWhatToDo) {
  static const Case kCases[] = {
      {"unknown", "$Z perm delete 9", 1,
       "9 was not deleted: there is no plug-in with this appid (7015)\nThese"},
      {"there already", "$Z perm insert 1001 --name x --uid 7", 1,
       "already (7021)\nTo change it: zelctl perm update"},
      {"not root", "setpriv --reuid 10002 $Z perm delete 1002", 4, "Run it as root"},
      {"no command", "$Z perm", 2, "zelctl: A subcommand is required"},
      {"no digits", "$Z perm show 12a --json", 2,
       "{\"error\":\"APPID: an appid is 1 to 63 digits\",\"code\":0"},
      {"no such ability", "$Z perm check 1001 16", 2, "no ability '16'"},
      {"a name too long", "$Z perm update 1001 --name $(printf %64d 0 | tr ' ' x)", 2, "63 bytes"},
      {"output that is lost", "$Z perm list >/dev/full", 3, "standard output"},
      {"the file cannot be", "mv $F $F.old && mkdir $F && $Z perm delete 1004", 3, "zelctl perm save"},
      {"saved later", "rmdir $F && $Z perm save && ! grep 1004 $F", 0, "package file written: 6 plug-ins"},
      {"a full table",
       "{ printf '{\"plugin\":[';"
       "  for i in $(seq 1 99); do printf '{\"appname\":\"\",\"appid\":\"%d\",\"abilitybits\":0,\"uid\":7},' "
       "$i; done;"
       "  printf '{\"appname\":\"\",\"appid\":\"100\",\"abilitybits\":0,\"uid\":7}]}'; } >$F;"
       "$Z perm init && $Z perm insert 101 --name x --uid 8",
       1, "no more fit"},
      {"a broken file", "echo >$F; $Z perm init", 3, "(7007)\nMend the file, then run: zelctl perm init"},
  };
  check(kCases);
}

TEST_F(Zelctl, WritesNothingFromATableThatWasNeverFilled) {
  shmctl(perm_common_shm_init(), IPC_RMID, nullptr);
  static const Case kCases[] = {
      {"insert", "$Z perm insert 7 --name x --uid 7", 3, "not initialised\nRun: zelctl perm init"},
      {"save", "$Z perm save", 3, "not initialised"},
      {"what to do", "$Z perm init && $Z perm show 1001", 0, "everything"},
  };
  check(kCases);
}
