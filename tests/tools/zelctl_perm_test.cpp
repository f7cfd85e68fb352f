// The tool as its user sees it, as root of a box that holds the plug-ins of support/packages.json. $Z runs it, $F is
// the package file.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <zel/perm.h>

#include "zelctl.h"

namespace {

class Perm : public Zelctl {};

int semaphore_id() {
  perm_table* const table = perm_common_shm_map(perm_common_shm_init());
  const int semid = table->semid;
  perm_common_shm_unmap(table);
  return semid;
}

}  // namespace

TEST_F(Perm, ShowsWhatTheTableHolds) {
  static const Case kCases[] = {
      {"aligned", "$Z perm list", 0, "APPID  UID    ABILITIES  NAME\n1001   10001  1-15       everything\n"},
      {"by name", "$Z perm show 1005", 0, "2,4-5 (0x0000001A)\n  2        ability_cloud_communication\n"},
      {"for scripts", "$Z --json perm list", 0,
       R"({"appid":"1005","appname":"cloud and events","uid":10005,"abilitybits":26,"abilities":[2,4,5],)"
       R"("shares_uid_with":null})"},
      {"catalogue", "$Z perm abilities", 0, "ABILITY  NAME\n1        ability_download\n2 "},
      {"for scripts", "$Z perm abilities --json", 0,
       R"(,{"number":15,"name":"ability_control_plug"}],"never_asked_for":[)"},
      {"granted", "$Z perm check 1002 cloud_communication", 0, "1002 holds ability 2"},
      {"for scripts", "$Z perm check 1002 2 --json", 0, R"({"appid":"1002","ability":2})"},
      {"not granted", "$Z perm check 1002 ability_wan", 1,
       "ability 7 (ability_wan): the plug-in does not hold"},
      {"names from outside harm no terminal",
       "printf '{\"plugin\":[{\"appname\":\"\\\\u001b[2J\\302\\233\\316\\251\\377\\355\\240\\200\","
       "\"appid\":\"7\",\"abilitybits\":0,\"uid\":5}]}' >$F; $Z perm init --again && $Z perm list",
       0, "7      5    none       ?[2J?\u03a9????\n"},
  };
  check(kCases);
}

TEST_F(Perm, ChangesTheTableAndItsFile) {
  static const Case kCases[] = {
      {"insert", "$Z perm insert 7 --name weather --uid 70 --abilities 2,wan,10-12 && tail -c 63 $F", 0,
       R"({"appname":"weather","appid":"7","abilitybits":3650,"uid":70}]})"},
      {"update keeps the rest", "$Z perm update 7 --abilities all && tail -c 61 $F", 0,
       R"({"appname":"weather","appid":"7","abilitybits":-1,"uid":70}]})"},
      {"bits as in the file", "$Z perm update 7 --abilities 0x80000001 --json", 0,
       "\"abilitybits\":-2147483647"},
      {"a uid that another has", "$Z perm update 7 --uid 10002", 0, "note: uid 10002 is also that of 1002"},
      {"for scripts", "$Z perm show 7 --json", 0, R"(,"abilities":[1],"shares_uid_with":"1002"})"},
      {"saved", "$Z perm save --json", 0, R"({"plugins":8,"abilities":15,"problems":[],"changed":[]})"},
      {"delete", "$Z perm delete 7 --json && ! grep weather $F", 0, R"({"deleted":"7"})"},
      {"the router's own", "$Z perm update 1 --abilities all && $Z perm delete 1005", 0, "1005 deleted"},
      {"one at a time", "flock /var/run/zelctl.lock timeout 3 $Z perm save", 124,
       "another change is under way"},
      {"as the plug-in's user", "$Z perm run 1002 -- id -u", 0, "10002\n"},
      {"its own options", "$Z perm run 1002 sh -c 'echo $0; exit 7' --json", 7, "--json\n"},
      {"no program of the name --json", "$Z perm run 1002 nosuch --json", 127,
       "zelctl: nosuch cannot be run"},
  };
  check(kCases);
}

TEST_F(Perm, SaysWhatFailedAndWhatToDo) {
  static const Case kCases[] = {
      {"there already", "$Z perm insert 1001 --name x --uid 7", 1,
       "already (7021)\nTo change it: zelctl perm update"},
      {"not root then", "$Z --as 1002 perm delete 1002", 4, "Run it as root"},
      {"no digits", "$Z perm show 12a --json", 2,
       "{\"error\":\"APPID: an appid is 1 to 63 digits\",\"code\":0"},
      {"no such ability", "$Z perm check 1001 16", 2, "no ability '16'"},
      {"a range that is none", "$Z perm update 1001 --abilities 12-10", 2, "'12-10' ends before it begins"},
      {"root's uid", "$Z perm update 1001 --uid 0", 2, "--uid"},
      {"a uid in hexadecimal", "$Z perm update 1001 --uid 0x10", 2, "decimal digits"},
      {"a uid of the router's own", "$Z perm update 1 --uid 5", 2, "the uid of 1 stays 0"},
      {"the router's own", "$Z perm delete 2", 2, "2 is the router's own"},
      {"a name too long", "$Z perm update 1001 --name $(printf %64d 0 | tr ' ' x)", 2, "63 bytes"},
      {"filled already", "$Z perm init", 1, "filled already"},
      {"the file cannot be", "cp $F $F.old && mount --bind $F.old $F && $Z perm delete 1004", 3,
       "1004 is deleted until the next boot only: /etc/norva/packages.json could not be written "
       "(7014)\nMake"},
      {"nor now", "$Z perm insert 3003 --name x --uid 7", 3, "lists 1004, which the table lacks"},
      {"saved later", "umount $F && $Z perm save && ! grep 1004 $F", 0, "package file written: 6 plug-ins"},
      {"an insert that the file cannot take",
       "cp $F $F.old && mount --bind $F.old $F && $Z perm insert 3003 --name x --uid 7; s=$?; umount $F; "
       "exit $s",
       3, "3003 is inserted until the next boot only"},
      {"nor another change", "$Z perm update 3003 --uid 8", 3, "differ about 3003. File: nothing"},
      {"saved later, too", "$Z perm save && grep -c 3003 $F", 0, "said of 3003 was replaced"},
      {"edited by hand", "sed -i 's/listener/lauscher/' $F && $Z perm delete 1002", 3,
       "differ about 1003. File: uid 10003, abilities 5, name 'lauscher'"},
      {"put back with a word", "$Z perm save", 0, "note: what the file said of 1003 was replaced"},
      {"twice in the file",
       "sed -i 's/}]/},{\"appname\":\"y\",\"appid\":\"1003\",\"abilitybits\":0,\"uid\":33}]/' $F && "
       "$Z perm init --again && $Z perm delete 1005",
       0, "1005 deleted"},
  };
  check(kCases);
}

TEST_F(Perm, ReportsWhatIsWrongWithAPackageFile) {
  static const Case kCases[] = {
      {"nothing", "$Z perm lint", 0, "5 plug-ins, 0 faults"},
      {"by line",
       "printf "
       "'{\"x\":[[\"plugin\"]],\"plugin\":[\\n{\"appname\":\"a\",\"appid\":\"5\",\"abilitybits\":1,\"uid\":0}"
       ","
       "\\n\\n{\"appname\":\"\\\\\"[\",\"appid\":\"5\",\"abilitybits\":1,\"uid\":\"x\"}]}' >/tmp/f; $Z perm "
       "lint /tmp/f",
       1,
       "/tmp/f:2: appid 5 has uid 0, root's; a plug-in needs one of its own\n/tmp/f:4: \"uid\" is not a "
       "number"},
      {"twice", "sed -i 's/\"x\"}/0}/' /tmp/f; $Z perm lint /tmp/f --json", 1,
       R"({"line":4,"problem":"appid 5 is listed twice; the first one counts"})"},
      {"no JSON", "echo '{\"plugin\": [' >/tmp/f; $Z perm lint /tmp/f", 1, "no JSON: line 2, column 1"},
      {"not there", "$Z perm lint /tmp/none", 3, "No such file"},
      {"not for all", "chmod 600 /tmp/f; $NOBODY $Z perm lint /tmp/f", 4, "Permission denied (7008)\nName"},
      {"a full table",
       "printf '{\"plugin\":[%s]}' \"$(seq -s, 120 | sed 's/[0-9]\\+/"
       "{\"appname\":\"\",\"appid\":\"9&\",\"abilitybits\":0,\"uid\":9&}/g')\" >$F;"
       "cp $F /tmp/f; $Z perm init --again",
       0,
       "the last 20 of 120, from here on, are left out\nnote: /etc/norva/packages.json:1: no room is left "
       "for "
       "1"},
      {"keeps them", "$Z perm delete 91; $Z perm save; cmp $F /tmp/f && echo kept", 0, "kept"},
      {"no room", "truncate -s 0 $F; rm $F; $Z perm save; $Z perm insert 101 --name x --uid 8", 1,
       "no more fit"},
  };
  check(kCases);
}

TEST_F(Perm, LeavesTheFileAloneUntilTheTableHoldsAllOfIt) {
  static const Case kAgain[] = {
      {"a fault",
       "$Z perm insert 7 --name x --uid 7 && sed -i 's/}]/},{}]/' $F && cp $F /tmp/f && $Z perm init --again",
       3, "(7007)\nMend the file"},
      {"the table is as it was", "$Z perm show 7", 0, "name       x"},
      {"refused",
       "for c in 'insert 8 --name x --uid 8' 'delete 7' 'update 7 --name y' save; do $Z perm $c && exit 9; "
       "done;"
       "cmp $F /tmp/f",
       0, "would be written without the rest (7022)\nMend the file"},
  };
  check(kAgain);
  shmctl(perm_common_shm_init(), IPC_RMID, nullptr);
  static const Case kBoot[] = {
      {"a fault in front of the reserved ones", "sed -i 's/\\[/[{},/' $F; $Z perm init", 3, "7007"},
      {"mended, but not read", "sed -i 's/{},//; s/,{}//' $F; $Z perm save", 3,
       "filled to its end. Run: zelctl perm init"},
      {"read", "$Z perm init && $Z perm delete 7", 0, "7 deleted"},
  };
  check(kBoot);
}

TEST_F(Perm, WritesNothingFromATableThatWasNeverFilled) {
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

TEST_F(Perm, NeitherWaitsForEverNorGivesTheLockBackTooOften) {
  const int semid = semaphore_id();
  ASSERT_EQ(0, perm_common_sem_p(semid));
  static const Case kHeld[] = {
      {"a query", "$Z perm list", 5, "locked for 3 s; process "},
      {"filled anew", "$Z perm init --again", 5, "locked for 3 s"},
  };
  check(kHeld);
  ASSERT_EQ(0, semctl(semid, 0, SETVAL, 3));
  static const Case kBroken[] = {{"mended", "$Z perm init --again", 0, "table filled"}};
  check(kBroken);
  EXPECT_EQ(1, semctl(semaphore_id(), 0, GETVAL));
}
