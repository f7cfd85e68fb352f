// A project's box as its author handles it from the command line.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "run.h"

namespace {

constexpr const char* kProject =
    "[box]\nrouter = true\nfiles = true\n"
    "[[plugin]]\nname = 'greeter'\nappid = '3001'\nrun = '" TEST_BIN
    "/greeter'\nabilities = ['cloud_communication', 'notify_rcv']\n"
    "[[plugin]]\nname = 'night'\nappid = '3002'\nrun = 'sleep 1000'\n";

// In the project's folder.
class Verbs : public testing::Test {
 protected:
  Verbs() {
    folder_.file("box.toml", kProject);
    std::filesystem::current_path(folder_.root());
    setenv("B", TEST_BIN "/routerbox", 1);
    unsetenv("XDG_RUNTIME_DIR");
  }
  ~Verbs() override { run("$B down"); }

  const HostFolder folder_;
  const std::string name_ = std::filesystem::path(folder_.root()).filename();
};

TEST_F(Verbs, DoWhatTheySay) {
  static const Case kCases[] = {
      {"up", "$B up", 0, "is up\n"},
      {"another of the same name", "$B up", 125, "is running; routerbox down --name"},
      {"one more, named", "$B up --name more-$$ && $B ps --name more-$$ && $B down --name more-$$", 0,
       "ended"},
      {"from a project of the same name",
       "mkdir -p clone/$(basename $PWD) && cp box.toml clone/*/ && cd clone/* && $B down", 1, "is that of /"},
      {"ps", "$B ps", 0, "\nnight    3002   10002  running"},
      {"send", "$B send greeter 'Is it raining?'", 0, "Good day! You said: Is it raining?\n"},
      {"by its appid", "$B send 3001 yes --json", 0, R"("answer":"Good day! You said: yes","status":0)"},
      {"to one without an object", "$B send night yes", 1, "night has no object zel_3002"},
      {"to none", "$B send greter yes", 1, "did you mean greeter?"},
      {"exec", "$B exec --as night -- sh -c 'id -u; pwd; exit 7'", 7, "10002\n/data\n"},
      {"exec that is ended",
       "$B exec -- sleep 77 & until pgrep -f '^sleep 77'; do sleep 0.05; done; kill $!; wait $!; pgrep -f "
       "'^sleep 77'",
       1, ""},
      {"exec as root", "$B exec -- id -u", 0, "0\n"},
      {"exec of a program of another processor",
       "printf '\\177ELF\\1\\1\\1\\0\\0\\0\\0\\0\\0\\0\\0\\0\\2\\0\\50\\0' >arm; chmod +x arm; $B exec -- "
       "./arm",
       1, ""},
      {"shell", "echo 'id -un; exit 3' | $B shell --as night", 3, "zel3002\n"},
      {"stop", "$B stop night && $B ps", 0, "night    3002   10002  stopped"},
      {"start", "$B start night --json", 0, R"("started":true)"},
      {"what runs already", "$B start night --json", 0, R"("started":false)"},
      {"a service", "$B restart files --json", 0, R"("stopped":true,"started":true)"},
      {"a service that is not there", "$B stop downloads", 1, "without downloads"},
      {"state", "$B state WAN.WAN_NET", 0, "1\n"},
      {"wan", "$B wan down && $B state WAN.WAN_NET", 0, "0\n"},
      {"disk", "$B disk add sdx9 && $B state DiskInfo", 0, "sdx9"},
      {"a disk twice", "$B disk add sdx9", 1, "already"},
      {"set", "$B set WAN.WAN_IP 203.0.113.99", 0, "-> \"203.0.113.99\""},
      {"set to what it cannot be", "$B set WAN.WAN_NET no", 1, "WAN.WAN_NET is a number"},
      {"set what is not there", "$B set WAN.WAN_PI x", 1, "did you mean WAN_IP?"},
      {"an answer that would steer the terminal", "$B send greeter \"$(printf 'a\\033[2J\\302\\233b\\nc')\"",
       0, "You said: a [2J  b\nc\n"},
      {"a recorded event that a shell would run",
       R"($B record --line '{"channel": "events", "from": "greeter", "what": "a$(id) b;c"}')", 0,
       "box expect event 'a$(id)' 'b;c' --from greeter\n"},
      {"event", "$B event home 512 hello --json", 0, R"({"event":2,"subevent":512})"},
      {"a subevent of another event", "$B event wan 512", 2, "there is 256 and 257"},
      {"log of what an author does", "$B log life", 0, "author -> box  wan down  OK"},
      {"log of nobody", "$B log greter", 1, "did you mean greeter?"},
      {"log of a service", "$B log files", 0, "box -> files  stop"},
      {"log of the bus", "$B log bus --json", 0,
       R"("from":"root","to":"greeter","what":"send_cmd","result":"OK")"},
      {"message and answer", "$B log bus --json", 0, R"({"msg":"yes"},"answer":{"description":"Good day)"},
      {"log of an event, given to who listens", "until $B log greeter | grep 'home 512'; do sleep 0.05; done",
       0, "root -> greeter  home 512  given\n"},
      {"down", "$B down", 0, "has ended\n"},
      {"nothing runs", "$B ps --name $(basename $PWD)", 1, "is running"},
  };
  check(kCases);
}

TEST_F(Verbs, ArmFaultsAndTakeThemBack) {
  static const Case kCases[] = {
      {"up", "$B up --host a.example=$PWD", 0, ""},
      {"router", "$B fault router query_disk_info delay:1ms once", 0,
       "query_disk_info  delay ms=1  1      0\n"},
      {"a method that is not there", "$B fault router query_disk delay:1s", 1,
       "did you mean query_disk_info?"},
      {"another server", "$B fault files '*' cut:3", 0, "cut bytes=3"},
      {"an outside host",
       "$B fault hosts a.example http500:503 once && $B exec -- curl -si http://a.example/", 0, " 503 "},
      {"bus: late", "$B fault bus '*' late:300ms && $B send greeter hi --json", 0, R"("answer":"Good day)"},
      {"by as much", "$B send greeter hi --json | grep -cE '\"ms\":([3-9]|1[0-9])[0-9][0-9][,}]'", 0, "1\n"},
      {"all that are armed", "$B faults", 0, "late:300ms"},
      {"bus: taken back", "$B fault bus clear && $B faults --json | grep -c late", 1, "0\n"},
      {"bus: a plug-in dropped", "$B fault bus greeter drop && until $B send greeter a; do sleep 0.1; done",
       0, "Good"},
      {"bus: ended", "$B fault bus '*' end; $B ps", 0, "bus      -      0      ended (status 137)"},
      {"bus: there again", "$B fault bus clear && until $B send greeter b; do sleep 0.1; done", 0, "Good"},
      {"bus: stopped", "$B fault bus '*' stop && timeout 1 $B send greeter c", 124, "stop"},
      {"bus: goes on", "$B fault bus clear && $B send greeter d", 0, "You said: d"},
      {"no such kind", "$B fault bus '*' lat:3s", 2, "did you mean late?"},
      {"no such server", "$B fault bsu '*' end", 2, "did you mean bus?"},
  };
  check(kCases);
}

TEST_F(Verbs, RefuseWhatTheyDoNotKnow) {
  static const Case kCases[] = {
      {"no verb", "$B sned greeter x", 2, "there is no verb 'sned'; did you mean send?"},
      {"too few words", "$B wan", 2, "routerbox wan --help"},
      {"help", "$B wan --help", 0, "Example: routerbox wan down\n"},
      {"a box with a command is ended too",
       "$B run -- sleep 1000 & until $B ps >/dev/null 2>&1; do sleep 0.05; done; $B down; wait $!", 143,
       "has ended"},
      {"no box's name", "$B up --name ../x", 125, "is no name for a box"},
      {"a broken file", "echo '[box]\nroutr = true' >box.toml; $B up", 125, "box.toml:2: "},
      {"a program that is not there",
       "echo '[[plugin]]\nname = \"a\"\nappid = \"5\"\nrun = \"./a\"' >box.toml; $B up", 127, "box.toml:4"},
      {"a box that is interrupted while it starts leaves nothing",
       "printf '[[plugin]]\\nname = \"a\"\\nappid = \"5\"\\nrun = \"sleep 99\"\\nabilities = "
       "[\"cloud_communication\"]' >box.toml; $B up & until $B ps | grep running; do sleep 0.05; done; kill "
       "$!; wait $!; $B ps "
       "--name $(basename $PWD)",
       1, "stopped by Terminated"},
      {"a box that cannot start leaves nothing",
       "echo '[box]\nrouter = \"state\"' >box.toml; echo '{' >state; $B up; $B ps --name $(basename $PWD)", 1,
       "no box"},
  };
  check(kCases);
}

TEST_F(Verbs, GoOnBesideClientsThatHangAndAfterABoxThatWasKilled) {
  ASSERT_EQ(0, run("$B up").status);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string place = "/tmp/routerbox-" + std::to_string(geteuid()) + "/" + name_ + "/control.sock";
  place.copy(address.sun_path, sizeof address.sun_path - 1);
  std::vector<int> hanging;
  for (int i = 0; i < 20; ++i) {
    hanging.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(0, connect(hanging.back(), reinterpret_cast<sockaddr*>(&address), sizeof address)) << i;
  }
  EXPECT_EQ(0, run("$B ps").status);
  ucred box{};
  socklen_t size = sizeof box;
  ASSERT_EQ(0, getsockopt(hanging.front(), SOL_SOCKET, SO_PEERCRED, &box, &size));
  for (const int client : hanging) close(client);
  // Its outer process, so that nobody is left to clean up.
  const Outcome again =
      run("outer=$(sed -n 's/^PPid:.//p' /proc/" + std::to_string(box.pid) +
          "/status); kill -9 $outer; while kill -0 $outer 2>/dev/null; do sleep 0.01; done; $B up");
  EXPECT_EQ(0, again.status) << again.output;
}

TEST_F(Verbs, AreThoseOfARouterThatWasCaptured) {
  folder_.file("differs.json",
               R"({"WAN": {"WAN_NET": 0, "WAN_IP": "198.51.100.7"}, "DiskInfo": [], "WIFIStatus": []})");
  folder_.file("box.toml", "[box]\nrouter = 'captured.json'\n");
  static const Case kCases[] = {
      {"captured",
       "$B -q --packages $PACKAGES --router differs.json -- " TEST_BIN
       "/zelctl router capture --with-secrets >captured.json; cat captured.json",
       0, "198.51.100.7"},
      {"captured of the box that has it",
       "$B run -q -- " TEST_BIN "/zelctl router capture --with-secrets | cmp - captured.json", 0, ""},
  };
  check(kCases);
}

constexpr const char* kStubs = "[[plugin]]\nname = 'greeter'\nappid = '3001'\nrun = '" TEST_BIN
                               "/greeter'\nabilities = ['cloud_communication', 'notify_rcv']\n"
                               "[[plugin]]\nname = 'radar'\nappid = '3002'\nstub = 'radar.toml'\n"
                               "abilities = ['cloud_communication', 'notify_send']\n"
                               "[[plugin]]\nname = 'cloud'\nappid = '3003'\nstub = 'cloud.toml'\n";
constexpr const char* kRadar =
    "[[answer]]\nis = 'rain?'\ntext = 'once'\ncount = 'once'\n"
    "[[answer]]\nis = 'rain?'\ntext = 'again'\n"
    "[[answer]]\nlike = 'rain in *'\ntext = '2 mm'\ndelay = '300ms'\n"
    "[[answer]]\nmatch = '^snow (now|soon)$'\ntext = ''\nstatus = 5\n"
    "[[answer]]\nis = 'end'\nfail = 'end'\n"
    "[[answer]]\nis = 'hang'\nfail = 'hang'\n"
    "[[event]]\nevent = 'home'\nsub = 512\ntext = 'rang'\nafter = '50ms'\n";

TEST_F(Verbs, PlayOtherPlugins) {
  folder_.file("box.toml", kStubs);
  folder_.file("radar.toml", kRadar);
  folder_.file("cloud.toml", "[[send]]\nto = 'greeter'\ntext = 'tick'\nevery = '100ms'\ncount = 2\n");
  static const Case kCases[] = {
      {"up", "$B up", 0, ""},
      {"an answer once", "$B send radar 'rain?'", 0, "once\n"},
      {"then the next that fits", "$B send radar 'rain?'", 0, "again\n"},
      {"a pattern, late", "$B send radar 'rain in Bern' --json | grep -E '\"ms\":([3-9]|1[0-9])[0-9][0-9]'",
       0, R"("answer":"2 mm","status":0)"},
      {"an expression, a status", "$B send radar 'snow soon' --json", 0, R"("answer":"","status":5)"},
      {"one that none fits", "$B send radar 'snow later'", 0, "(status 4: Not found)"},
      {"what it sends",
       "until [ $($B log greeter --json | grep -c '\"from\":\"cloud\",\"to\":\"greeter\".*tick') = 2 ]; do "
       "sleep 0.05; done",
       0, ""},
      {"no more than told",
       "sleep 0.3; $B log greeter --json | grep -c '\"from\":\"cloud\",\"to\":\"greeter\".*tick'", 0, "2\n"},
      {"its event", "until $B log events --json | grep rang; do sleep 0.05; done", 0,
       R"("from":"radar","to":"greeter")"},
      {"hangs", "timeout 0.3 $B send radar hang; timeout 0.5 $B send radar 'rain?'", 124, ""},
      {"until it is restarted", "$B restart radar && $B send radar 'rain?'", 0, "once\n"},
      {"ends", "timeout 0.3 $B send radar end; $B ps", 0, "radar    3002   10002  ended (status 0)"},
      {"its file is read anew",
       "echo >>radar.toml '[[answer]]\ntext = 3'; $B start radar; sleep 0.3; $B log radar", 0, "status 1"},
      {"a box is refused with it", "$B down; $B up", 125, "radar.toml:28: text = 3 must be a text in quotes"},
  };
  check(kCases);
}

// A project of one plug-in that runs this line of shell.
std::string night(const std::string& line) {
  return "[[plugin]]\nname = 'night'\nappid = '3002'\nrun = \"sh -c '" + line + "'\"\n";
}

TEST_F(Verbs, ADeathIsToldAtOnceAndMakesTheStatus) {
  static const Case kCases[] = {
      {"a plug-in fails", "$B run -- sh -c 'sleep 0.3; echo after'", 124, "night has ended, with status 3"},
      {"nobody minds", "$B run --ignore-deaths -- sleep 0.3", 0, "night has ended"},
      {"the command's own status goes first", "$B run -- sh -c 'sleep 0.3; exit 4'", 4, "night has ended"},
      {"a log of all lines", "$B run --log lines -- sleep 0.3; cat lines", 0, "night | unbuffered"},
  };
  folder_.file("box.toml", night("printf unbuffered; exit 3"));
  check(kCases);
  folder_.file("box.toml", night("echo ==1==ERROR: AddressSanitizer: heap; sleep 100"));
  const Outcome reported = run("$B run -- sleep 0.3");
  EXPECT_EQ(124, reported.status) << reported.output;
  EXPECT_NE(std::string::npos, reported.output.find("a sanitizer reports a fault of night"))
      << reported.output;
}

TEST_F(Verbs, ACrashLeavesACoreAndWhereItWas) {
  if (run("grep -q '^|' /proc/sys/kernel/core_pattern").status == 0 || run("ulimit -Hc").output == "0\n")
    GTEST_SKIP() << "this machine keeps cores to itself";
  folder_.file("box.toml", night("ulimit -c unlimited; touch -d 2030-01-01 core-values; kill -SEGV $$"));
  const Outcome outcome = run("$B run -- sleep 0.5");
  EXPECT_EQ(124, outcome.status) << outcome.output;
  EXPECT_NE(std::string::npos,
            outcome.output.find("the core of night is " + folder_.path(".box/cores/night.")))
      << outcome.output;
  const bool has_gdb = run("command -v gdb").status == 0;
  EXPECT_NE(std::string::npos, outcome.output.find(has_gdb ? "routerbox:   #0 " : "install gdb"))
      << outcome.output;
}

TEST_F(Verbs, StartAgainWhatIsBuiltAnew) {
  folder_.file("program", "#!/bin/sh\necho first; sleep 1000\n");
  folder_.file("box.toml", "[[plugin]]\nname = 'night'\nappid = '3002'\nrun = './program'\n");
  const Outcome outcome =
      run("$B up && { $B restart night --watch >watched & } && sleep 0.3 && "
          "printf '#!/bin/sh\\necho second; sleep 1000\\n' >new && chmod +x new && mv new program && "
          "until grep anew watched; do sleep 0.05; done; $B down; wait; cat "
          "watched");
  EXPECT_NE(std::string::npos, outcome.output.find("night runs anew: ")) << outcome.output;
}

}  // namespace
