// Plug-ins in archives: made from a project, read from anybody, put into a running box.
#include <gtest/gtest.h>

#include <filesystem>

#include "run.h"

namespace {

// A project whose plug-in is packed, and a box of another project that gets it.
class Packed : public testing::Test {
 protected:
  Packed() {
    for (const char* made : {"a", "a/bin", "a/share", "a/share/sub", "b"})
      std::filesystem::create_directory(folder_.path(made));
    folder_.file("a/bin/weather", "#!/bin/sh\nls -l /data/sub; exec " TEST_BIN "/greeter\n");
    folder_.file("a/share/sub/towns", "Bern\n");
    folder_.file("a/box.toml",
                 "[[plugin]]\nname = 'weather'\nappid = '3001'\nrun = './bin/weather now'\ndata = 'share'\n"
                 "abilities = ['cloud_communication', 'wan']\n");
    folder_.file("b/box.toml",
                 "[[plugin]]\nname = 'night'\nappid = '3002'\nuid = 20001\nrun = 'sleep 1000'\n");
    std::filesystem::current_path(folder_.root());
    setenv("B", TEST_BIN "/routerbox", 1);
    unsetenv("XDG_RUNTIME_DIR");
    run("cd a && $B pack --output ../good.tar.gz && cd .. && mkdir good && tar xzf good.tar.gz -C good");
  }

  const HostFolder folder_;
};

TEST_F(Packed, InTheSameBytesWhoeverPacksAndWhen) {
  static const Case kCases[] = {
      {"what it holds", "tar tzf good.tar.gz", 0, "bin/weather\ndata/sub/towns\nmanifest.json\n"},
      {"later, with other owners and umask",
       "touch -d 1999-01-01 a/share/sub/towns; umask 077; cd a && $B pack && cmp weather-any.tar.gz "
       "../good.tar.gz",
       0, "weather (appid 3001, user 10001) for any: 2 files, "},
      {"what it asks for", "cd a && $B pack --json", 0, R"("abilities":["cloud_communication","wan"])"},
      {"no such plug-in", "cd a && $B pack wether", 1, "did you mean weather?"},
      {"a program of the machine", "cd b && $B pack", 1, "runs sleep, a program of the machine"},
      {"a program that is not there", "cd a && mv bin/weather w; $B pack; s=$?; mv w bin/weather; exit $s", 1,
       "is it built?"},
      {"a link among the data", "cd a && ln -s /etc share/etc; $B pack; s=$?; rm share/etc; exit $s", 1,
       "share/etc is no plain file"},
  };
  check(kCases);
}

TEST_F(Packed, AreRefusedWhenTheyWouldHarmOrLie) {
  // Changes the good archive's files, packs them again with $TAR and unpacks that. 99: something is left.
  folder_.file("try",
               "rm -rf x\ncp -a good x\ncd x\neval \"$1\"\n"
               "find * ! -type d | LC_ALL=C sort | tar cz $TAR -f ../bad -T - 2>/dev/null\ncd ..\n"
               "[ -z \"$AFTER\" ] || eval \"$AFTER\"\n" TEST_BIN
               "/boxpack unpack bad out\nstatus=$?\n[ ! -e out ] || status=99\nexit $status\n");
  static const Case kCases[] = {
      {"a way out", "TAR='-P --transform s,data/sub/towns,data/../../towns,' sh try :", 3,
       "'data/../../towns' leads out of the plug-in's folder"},
      {"an absolute path", "TAR='-P --transform s,data/sub/towns,/tmp/towns,' sh try :", 3,
       "'/tmp/towns' is an absolute path"},
      {"another folder", "sh try 'mkdir etc && touch etc/passwd'", 3, "is neither in bin nor in data"},
      {"two names for a file", "TAR='--transform s,data/sub/towns,data/./towns,' sh try :", 3,
       "is not a plain path"},
      {"a name that steers the terminal", "sh try 'touch \"data/$(printf \"\\\\033\")\"'", 3,
       "'data/?' is named with"},
      {"a symbolic link", "sh try 'ln -s /etc/passwd data/passwd'", 3, "is a symbolic link"},
      {"a hard link", "sh try 'ln data/sub/towns data/sub/villages'", 3, "is a link"},
      {"a pipe", "sh try 'mkfifo data/pipe'", 3, "is a pipe"},
      {"a folder", "TAR=data/sub sh try :", 3, "is a folder of its own"},
      {"huge together", "sh try 'for i in 1 2; do truncate -s 33M data/$i; done'", 3,
       "is too large: it claims 34603008 bytes"},
      {"a huge manifest", "sh try 'truncate -s 2M manifest.json'", 3, "and 1048576 may still be there"},
      {"too many files", "sh try 'mkdir data/f; cd data/f; seq 1001 | xargs touch; cd ../..'", 3,
       "one file too many"},
      {"a name twice", "TAR='--transform s,data/b,data/a,' sh try 'touch data/a data/b'", 3,
       "'data/a' is there twice"},
      {"no manifest", "sh try 'rm manifest.json'", 3, "it has no manifest.json"},
      {"no JSON", "sh try 'echo { >manifest.json'", 3, "is no manifest of a plug-in"},
      {"another content", "sh try 'echo Rome >data/sub/towns'", 3, "data/sub/towns has another content"},
      {"a file that is not listed", "sh try 'touch data/more'", 3, "'data/more' is not listed"},
      {"a file that is missing", "sh try 'rm data/sub/towns'", 3, "data/sub/towns is missing"},
      {"another processor", "sh try 'sed -i s/any/mipsel/ manifest.json'", 3,
       "is for mipsel, and it is for any"},
      {"another program", "sh try 'sed -i s,bin/weather,bin/sh, manifest.json'", 3, "bin/sh is missing"},
      {"a program that is no program",
       "sh try 's=\"/program/s,bin/weather,data/sub/towns,\"; sed -i \"$s\" manifest.json'", 3,
       "names the program 'data/sub/towns'"},
      {"set-uid", "sh try 'sed -i s/0755/4755/ manifest.json'", 3, "has a file of mode 4755"},
      {"root", "sh try 'sed -i s/10001/0/ manifest.json'", 3, "\"uid\""},
      {"the router's own", "sh try 'sed -i s/3001/2/ manifest.json'", 3, "claims the appid 2"},
      {"a name that is a path", "sh try 'sed -i \"/appname/s,weather,../x,\" manifest.json'", 3,
       "names the plug-in '../x'"},
      {"all there is and more", "sh try 'sed -i s/66/4294967295/ manifest.json'", 3,
       "abilities that do not exist"},
      {"another format", "sh try 'sed -i s/format.:.1/format\\\":2/ manifest.json'", 3, "is of format 2"},
      {"cut short", "AFTER='truncate -s 300 bad' sh try :", 3, "it is no archive of routerbox pack"},
      {"no archive", "AFTER='date >bad' sh try :", 3, "it is no archive of routerbox pack"},
  };
  check(kCases);
}

TEST_F(Packed, AreInstalledAsTheRouterDoesIt) {
  static const Case kCases[] = {
      {"up", "cd b && $B up --log lines", 0, ""},
      {"installed", "cd b && $B install ../good.tar.gz", 0,
       "It asks for cloud_communication, wan\nIt runs, from /opt/weather\n"},
      {"it answers", "cd b && $B send weather hi", 0, "Good day! You said: hi"},
      {"as its user, with its data", "cd b && cat lines", 0, " zel3001 zel3001 5 "},
      {"to the router", "cd b && $B exec -- " TEST_BIN "/zelctl perm check 3001 wan", 0, "holds"},
      {"also at its next start", "cd b && $B exec -- cat /etc/norva/packages.json", 0,
       R"({"appname":"weather","appid":"3001","abilitybits":66,"uid":10001})"},
      {"by its name in the trace", "cd b && $B log weather", 0, "root -> weather  send_cmd"},
      {"a newer one keeps the data",
       "cd b && $B exec --as weather -- touch kept && $B install ../good.tar.gz && $B exec --as weather -- "
       "ls",
       0, "kept\nsub\n"},
      {"and is there once", "cd b && $B ps | grep -c weather", 0, "1\n"},
      {"another's user",
       "cd a && sed -i 's/3001/3003/; s/weather/rain/; s/^run/uid = 20001\\nrun/' box.toml && sed -i "
       "s,bin/rain,bin/weather, box.toml && $B pack && cd ../b && $B install ../a/rain-any.tar.gz",
       1, "rain has the user 20001; here is night"},
      {"another's appid",
       "cd a && sed -i 's/3003/3001/; /^uid/d' box.toml && $B pack && cd ../b && $B install "
       "../a/rain-any.tar.gz",
       1, "here is weather with appid 3001"},
      {"what is refused leaves nothing", "cd b && $B install box.toml || $B exec -- ls -A /opt", 0,
       "it is no archive of routerbox pack: Unrecognized archive format\nweather\n"},
      {"down", "cd b && $B down", 0, ""},
  };
  check(kCases);
  run("cd b && $B down");
}

}  // namespace
