// Command lines, help and completion.
#include <filesystem>

#include "zelctl.h"

namespace {

class Line : public Zelctl {};

}  // namespace

TEST_F(Line, IsUnderstoodOrAnsweredWithTheNearestName) {
  static const Case kCases[] = {
      {"nothing", "$Z", 2, "All of them: zelctl --help"},
      {"half a command", "$Z perm", 2, "perm needs a command: list, show"},
      {"a family", "$Z prem list", 2, "no command 'prem'; did you mean perm?\nHelp: zelctl --help"},
      {"half a command of a family", "$Z list", 2,
       "'list'; there is perm list and bus list and download list\n"},
      {"a command", "$Z perm lst", 2,
       "perm has no command 'lst'; did you mean list?\nHelp: zelctl perm --help"},
      {"an option", "$Z perm list --jsn", 2, "no option --jsn; did you mean --json?"},
      {"a letter", "$Z perm list -q", 2, "no option -q"},
      {"another command's option", "$Z perm list --uid 5", 2, "no option --uid"},
      {"an option's value", "$Z perm list --as", 2, "the option --as needs a value"},
      {"a value too many", "$Z perm list --json=yes", 2, "the option --json takes no value"},
      {"a required option", "$Z perm insert 7 --uid 5", 2, "perm insert needs --name NAME"},
      {"an argument", "$Z perm show", 2, "perm show needs APPID"},
      {"an argument too many", "$Z perm list 7", 2, "perm list takes no '7'"},
      {"options anywhere", "$Z --json perm show 1002 -v", 0, "{\"appid\":\"1002\""},
      {"a failure for scripts", "$Z perm lst --json", 2, "{\"error\":\"perm has no command 'lst'; did"},
      {"nobody's", "setpriv --reuid 10002 $Z --as 1001 perm list", 4, "only root"},
      {"as nobody that is known", "$Z --as 77 perm list", 1, "77: there is no plug-in with this appid"},
      {"version", "$Z --version --json", 0, "{\"version\":\""},
      {"help of none", "$Z help perm lst", 2, "perm has no command 'lst'; did you mean list?"},
  };
  check(kCases);
}

TEST_F(Line, KnowsItsOutput) {
  static const Case kCases[] = {
      {"full", "$Z perm list >/dev/full", 3, "standard output"},
      {"closed", "$Z perm list >&-", 3, "standard output"},
      {"nobody reads a no", "( sleep 0.2; $Z perm check 1002 wan --json; echo status $? >&2 ) | true", 0,
       "status 1"},
      {"a reader that is stuck",
       "mkfifo /tmp/p; exec 3<>/tmp/p; head -c 65536 /dev/zero >&3; $Z perm list >&3 & "
       "until grep -q 'State:.S' /proc/$!/status; do sleep 0.1; done; kill $!; wait $!",
       5, "zelctl: interrupted\n"},
      {"nobody reads on", "bash -c 'set -o pipefail; $0 \"$@\" | true' $Z perm list", 0, ""},
  };
  check(kCases);
}

TEST_F(Line, HelpsAtEveryLevel) {
  static const Case kCases[] = {
      {"all", "$Z --help", 0, "Example:\n  zelctl perm list\n"},
      {"a family", "$Z help perm", 0, "  insert APPID          Add a plug-in"},
      {"a command", "$Z perm insert -h", 0,
       "Usage: zelctl perm insert APPID --name NAME --uid UID [--abilities LIST]"},
      {"one screen", "$Z --help | awk 'END { exit NR > 40 }'", 0, ""},
  };
  check(kCases);
}

class Examples : public Line, public testing::WithParamInterface<const char*> {};

TEST_P(Examples, OfTheHelpRun) {
  setenv("FAMILY", GetParam(), 1);
  const auto examples = std::filesystem::path(TEST_DATA "/../../examples").lexically_normal();
  setenv("EXAMPLES", examples.c_str(), 1);
  static const Case kCases[] = {
      {"run",
       "for i in 6 7 8 9; do echo zel200$i:x:1000$i:1000$i::/: >>/etc/passwd; echo zel200$i:x:1000$i: "
       ">>/etc/group; done; cp $EXAMPLES/packages.json $F; $Z perm init --again >/dev/null; zelctl() { $Z "
       "\"$@\"; };"
       "$Z help $FAMILY --json | grep -o '\"example\":\"\\([^\"\\\\]\\|\\\\.\\)*' | cut -c 12- | sed "
       "'s/\\\\\\(.\\)/\\1/g' "
       ">/tmp/run;"
       "while read -r line; do eval \"$line\" </dev/null >/tmp/out 2>&1 || { echo \"$line gave $?\"; cat "
       "/tmp/out; }; "
       "done </tmp/run | grep . && exit 1; test -s /tmp/run",
       0, ""},
  };
  check(kCases);
}

INSTANTIATE_TEST_SUITE_P(Each, Examples,
                         testing::Values("perm", "cloud", "event", "bus", "router", "download", "device",
                                         "http", "doctor", "help", "completion"));

TEST_F(Line, CompletesWordsForShells) {
  static const Case kCases[] = {
      {"families", "$Z completion words -- pe", 0, "perm\tPlug-ins"},
      {"commands", "$Z completion words -- perm sh", 0, "show\tOne plug-in"},
      {"plug-ins", "$Z completion words -- perm show 10", 0, "1001\teverything\n1002"},
      {"abilities", "$Z completion words -- perm check 1002 wa", 0, "wan\tability 7\n"},
      {"options", "$Z completion words -- perm insert 5 --ab", 0, "--abilities\t"},
      {"an option's value", "$Z completion words -- --as 1004", 0, "1004\tnothing"},
      {"files", "$Z --json completion words -- perm lint x", 0, R"({"words":["@FILE"]})"},
      {"words of help", "$Z completion words -- help perm sh", 0, "show\tOne plug-in"},
      {"in bash",
       "mkdir /tmp/b; printf '#!/bin/sh\\nexec %s \"$@\"' \"$Z\" >/tmp/b/zelctl; chmod +x /tmp/b/zelctl;"
       "PATH=$PATH:/tmp/b bash -c 'eval \"$(zelctl completion bash)\"; COMP_WORDS=(zelctl perm ab); "
       "COMP_CWORD=2;"
       "_zelctl; echo \"${COMPREPLY[@]}\"'",
       0, "abilities\n"},
  };
  check(kCases);
}
