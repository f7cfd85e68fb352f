// What `routerbox test` says of tests that fail, and of projects that cannot be tested.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "run.h"

namespace {

// A test, and what its run must say of it.
const struct {
  const char* name;
  const char* lines;
  const char* said;
} kTests[] = {
    {"all is well", "box send greeter hi --expect 'said: hi$'; box expect output greeter 'got .hi'", ""},
    {"happened before the mark", "box wan down; box mark; box expect no event", ""},
    {"another answer", "box send greeter hi --expect 'good night'", "seen      Good day! You said: hi"},
    {"wrong verb", "box sned greeter hi", "did you mean send?"},
    {"a plug-in that dies", "box exec -- pkill -SEGV greeter", "greeter has ended, killed by signal 11"},
    {"a fault that is not played", "box fault router set_router_wan delay:9s once",
     "was played 0 times of 1"},
    {"what it leaves", "sleep 1000 &", "the test has left sleep 1000 (process "},
};

std::string test_file() {
  std::string text = "load box\n";
  for (const auto& test : kTests)
    text += std::string("@test \"") + test.name + "\" {\n" + test.lines + "\n}\n";
  return text;
}

// The lines of the run that are about one test, from its result on.
std::string said_of(const std::string& name, const std::string& output) {
  const size_t place = output.find(" " + name + " # in ");
  if (place == std::string::npos) return "nothing";
  const size_t begin = output.rfind('\n', place) + 1;
  return output.substr(begin, std::min(output.find("\nok ", place), output.find("\nnot ok ", place)) - begin);
}

class Tests : public testing::Test {
 protected:
  Tests() {
    setenv("P", folder_.root().c_str(), 1);
    folder_.file("box.toml", "[box]\nrouter = true\nbuild = '" TEST_BIN
                             "'\n"
                             "[[plugin]]\nname = 'greeter'\nappid = '3001'\nrun = '" TEST_BIN
                             "/greeter'\nabilities = ['cloud_communication']\n");
    std::filesystem::create_directory(folder_.path("tests"));
  }
  const HostFolder folder_;
};

TEST_F(Tests, SayWhatWasExpectedAndWhatWasSeen) {
  folder_.file("tests/all.bats", test_file());
  const Outcome outcome = run("$ROUTERBOX test $P --jobs 4 --junit $P/report.xml");
  EXPECT_EQ(1, outcome.status) << outcome.output;
  for (const auto& test : kTests) {
    const std::string said = said_of(test.name, outcome.output);
    EXPECT_NE(std::string::npos, said.find(test.said)) << test.name << ": " << said;
    EXPECT_EQ(*test.said == '\0', said.starts_with("ok ")) << test.name << ": " << said;
  }
  const Outcome report = run("head -3 $P/report.xml");
  EXPECT_NE(std::string::npos, report.output.find("tests=\"7\" failures=\"5\"")) << report.output;
}

TEST_F(Tests, ExpectWhatThereIs) {
  setenv("B", "cd $P; $ROUTERBOX expect --within 100ms", 1);
  static const Case kCases[] = {
      {"a box", "cd $P && $ROUTERBOX up && $ROUTERBOX wan down", 0, ""},
      {"an event", "eval $B event wan 257 --from root", 0, "root -> bus  wan 257  OK"},
      {"of another sender", "eval $B event wan 257 --from greeter", 1, "nearest to it: "},
      {"the last lines", "eval $B no event", 1, "(events):\n"},
      {"another size", "eval $B file /etc/hosts --size 7", 1, "nearest to it: /etc/hosts with "},
      {"a state", "eval $B state WAN.WAN_NET 1", 1, "WAN.WAN_NET is 0"},
      {"an object", "eval $B object greeter", 0, "zel_3001\n"},
      {"no object", "eval $B no object grete", 0, ""},
      {"a process", "eval $B process boxrouter", 0, "boxrouter, process "},
      {"no process", "eval $B process boxroute", 1, "hostbusd"},
      {"no such subject", "eval $B rooter x", 2, "'rooter' cannot be expected; did you mean router?"},
      {"no such method", "eval $B router query_disk_inf", 2, "did you mean query_disk_info?"},
      {"no such event", "eval $B event wna", 2, "did you mean wan?"},
      {"not for this", "eval $B object greeter --size 4", 2, "write expect object PLUGIN|NAME"},
      {"no pattern", "eval $B output greeter '\"(\"'", 2, "is no pattern: "},
      {"its end", "cd $P && $ROUTERBOX down", 0, "ended"},
  };
  check(kCases);
}

TEST_F(Tests, AreNotBegunWhereNoBoxCanStart) {
  folder_.file("tests/two.bats", "load box\n@test \"one\" { box ps; }\n@test \"two\" { box ps; }\n");
  static const Case kCases[] = {
      {"one of two", "$ROUTERBOX test $P -k one --jobs 1 --json 2>/dev/null", 0,
       R"({"tests":1,"failures":0,"skipped":0,"left":false})"},
      {"no target", "$ROUTERBOX test $P --target mipsel", 127, "to build it, run: cmake -B "},
      {"no project", "$ROUTERBOX test /usr", 1, "routerbox new makes"},
      {"no tests", "mkdir $P/none; $ROUTERBOX test $P/none", 1, "there are no tests: "},
      {"no bats", "env PATH=/nowhere $ROUTERBOX test $P", 3, "apt-get install bats"},
      {"a wrong file", "echo '[box]\nrouter = true\nbild = 1' >$P/box.toml; $ROUTERBOX test $P", 125,
       "did you mean build?"},
      {"a reason that shows at the start is said once",
       "echo '[box]\nrouter = \"state\"' >$P/box.toml; echo '{' >$P/state; $ROUTERBOX test $P 2>&1 | grep -c "
       "JSON",
       0, "1\n"},
  };
  check(kCases);
}

TEST_F(Tests, AreRecordedOfWhatIsDoneByHand) {
  folder_.file("ask", "#!/bin/sh\ncurl -s '127.0.0.1:14000/api?method=query_router_info'; sleep 1000\n");
  run("cat >>$P/box.toml <<'EOF'\n[[plugin]]\nname = 'night'\nappid = '3002'\nrun = './ask'\nEOF\n"
      "sed -i \"s/'cloud_communication'/&, 'notify_rcv'/\" $P/box.toml");
  setenv("HAND",
         "asked() { until [ $($ROUTERBOX log | grep -c query_router_info) = $1 ]; do sleep 0.1; done; };"
         " cd $P && $ROUTERBOX up -q && asked 1 && $ROUTERBOX send greeter \"it's a (test)\" && $ROUTERBOX "
         "wan down &&"
         " $ROUTERBOX fault router query_disk_info delay:9s && $ROUTERBOX restart night && asked 2 &&"
         " $ROUTERBOX expect no object moon; $ROUTERBOX exec --as night -- sh -c 'exit 3';"
         " $ROUTERBOX send greeter 1234567; $ROUTERBOX send nobody x; $ROUTERBOX exec -- kill -CONT 1;"
         " $ROUTERBOX exec -- pkill -x ask; $ROUTERBOX expect no process night; $ROUTERBOX record "
         "tests/hand.bats;"
         " $ROUTERBOX down; cat tests/hand.bats",
         1);
  static const Case kCases[] = {
      {"by hand", "eval $HAND", 0, "@test \"send greeter 'it's a (test)', wan down, ...\" {\n"},
      {"verbs and effects", "cat $P/tests/hand.bats", 0,
       "  box wan down\n  box expect event wan 257 --to greeter\n"
       "  box fault router query_disk_info delay:9s\n"
       "  box mark\n  box restart night\n  box expect router query_router_info --from night\n"
       "  box expect no object moon\n  run box exec --as night -- sh -c 'exit 3'\n  [ \"$status\" -eq 3 ]\n"
       "  box send greeter 1234567 --expect '^Good day! You said: [0-9]+$'\n"
       "  box expect output greeter '^got \"[0-9]+\" \\(7 bytes\\)$'\n"
       "  # box exec -- kill -CONT 1 is left out: in a test the process has another number\n"
       "  # box exec -- pkill -x ask is left out: it ended what is stopped here\n  box stop night\n"
       "  box expect no process night\n"
       "  box fault router clear\n}\n"},
      {"it passes as it stands", "$ROUTERBOX test $P", 0, "\nok 1 "},
      {"it can fail", "sed -i s/query_router_info/query_disk_info/ $P/ask; $ROUTERBOX test $P", 1,
       "expect router query_router_info --from night"},
  };
  check(kCases);
}

}  // namespace
