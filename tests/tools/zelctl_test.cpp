// The tool as its user sees it, as root of a box that holds the plug-ins of support/packages.json. $Z runs it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sem.h>
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
      {"catalogue", "$Z perm abilities", 0, "ABILITY  NAME\n1        ability_download\n2 "},
      {"for scripts", "$Z perm abilities --json", 0,
       R"({"abilities":[{"number":1,"name":"ability_download"},)"},
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
      {"one at a time", "flock /var/run/zelctl.lock timeout 1 $Z perm save", 124, ""},
  };
  check(kCases);
}

TEST_F(Zelctl, SaysWhatFailedAndWhatToDo) {
  static const Case kCases[] = {
      {"there already", "$Z perm insert 1001 --name x --uid 7", 1,
       "already (7021)\nTo change it: zelctl perm update"},
      {"not root", "setpriv --reuid 10002 $Z perm delete 1002", 4, "Run it as root"},
      {"no command", "$Z perm", 2, "zelctl: A subcommand is required"},
      {"no digits", "$Z perm show 12a --json", 2,
       "{\"error\":\"APPID: an appid is 1 to 63 digits\",\"code\":0"},
      {"no such ability", "$Z perm check 1001 16", 2, "no ability '16'"},
      {"a range that is none", "$Z perm update 1001 --abilities 12-10", 2, "'12-10' ends before it begins"},
      {"root's uid", "$Z perm update 1001 --uid 0", 2, "--uid"},
      {"the router's own", "$Z perm delete 2", 2, "2 is the router's own"},
      {"a name too long", "$Z perm update 1001 --name $(printf %64d 0 | tr ' ' x)", 2, "63 bytes"},
      {"output that is lost", "$Z perm list >/dev/full", 3, "standard output"},
      {"the file cannot be", "cp $F $F.old && mount --bind $F.old $F && $Z perm delete 1004", 3,
       "1004 is deleted until the next boot only: /etc/norva/packages.json could not be written "
       "(7014)\nMake"},
      {"nor now", "$Z perm insert 3003 --name x --uid 7", 3, "lists 1004, which the table lacks"},
      {"saved later", "umount $F && $Z perm save && ! grep 1004 $F", 0, "package file written: 6 plug-ins"},
      {"a full table",
       "printf '{\"plugin\":[%s]}' \"$(seq -s, 100 | sed 's/[0-9]\\+/"
       "{\"appname\":\"\",\"appid\":\"&\",\"abilitybits\":0,\"uid\":7}/g')\" >$F;"
       "$Z perm init && $Z perm insert 101 --name x --uid 8",
       1, "no more fit"},
  };
  check(kCases);
}

TEST_F(Zelctl, LeavesTheFileAloneUntilTheTableHoldsAllOfIt) {
  static const Case kCases[] = {
      {"a fault",
       "$Z perm insert 7 --name x --uid 7 && sed -i 's/}]/},{}]/' $F && cp $F /tmp/f && $Z perm init", 3,
       "(7007)\nMend the file, then run: zelctl perm init. Until then zelctl changes nothing"},
      {"refused",
       "for c in 'insert 8 --name x --uid 8' 'delete 7' 'update 7 --name y' save; do $Z perm $c && exit 9; "
       "done;"
       "cmp $F /tmp/f",
       0, "would be written without the rest (7022)\nMend the file"},
      {"a fault in front of the reserved ones", "sed -i 's/\\[/[{},/' $F; $Z perm init", 3, "7007"},
      {"mended, but not read", "sed -i 's/{},//; s/,{}//' $F; $Z perm save", 3,
       "filled to its end. Run: zelctl perm init"},
      {"read", "$Z perm init && $Z perm delete 7", 0, "7 deleted"},
  };
  check(kCases);
}

TEST_F(Zelctl, WritesNothingFromATableThatWasNeverFilled) {
  shmctl(perm_common_shm_init(), IPC_RMID, nullptr);
  ASSERT_EQ(semctl(0, 0, SETVAL, 0), 0)
      << "a table of zeros names this one; whoever waits for it waits for ever";
  static const Case kCases[] = {
      {"insert", "$Z perm insert 7 --name x --uid 7", 3,
       "not initialised\nOn the router, run: zelctl perm init"},
      {"what to do", "$Z perm init && $Z perm show 1001", 0, "everything"},
  };
  check(kCases);
}
