// The box as its user sees it: options in, output and exit status out.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "run.h"

namespace {

std::string whole(const char* path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(RouterBox, PassesOnTheExitStatusAndTellsItsOwnFailuresApart) {
  static const Case kCases[] = {
      {"the command's status", "$ROUTERBOX -q -- sh -c 'exit 7'", 7, ""},
      {"killed by a signal", "$ROUTERBOX -q -- sh -c 'kill -9 $$'", 137, ""},
      {"left-over children end with it", "$ROUTERBOX -q -- sh -c 'sleep 1000 & exit 3'", 3, ""},
      {"no such command", "$ROUTERBOX -q -- no-such-command", 127, "PATH"},
      {"a file that is no program", "$ROUTERBOX -q -- /etc/passwd", 126, "x permission"},
      {"unknown option", "$ROUTERBOX --bogus -- true", 125, "--help"},
  };
  check(kCases);
}

TEST(RouterBox, SaysWhatIsWrongWithItsInput) {
  static const Case kCases[] = {
      {"two plug-ins of one user",
       R"(echo '{"plugin": [{"appname": "a", "appid": "3", "uid": 5, "abilitybits": -1},
                            {"appname": "b", "appid": "4", "uid": 5, "abilitybits": 0}]}' |)"
       " $ROUTERBOX --packages /dev/stdin -- true",
       125, "plug-in 2 has the uid 5 of plug-in 3"},
      {"file server of no folder", "$ROUTERBOX --files /etc/passwd -- true", 125, "/etc/passwd is none"},
      {"no qemu for a program of another processor",
       "f=$(mktemp) && printf '\\177ELF\\1\\1\\1\\0\\0\\0\\0\\0\\0\\0\\0\\0\\2\\0\\50\\0' >$f && chmod +x $f "
       "&&"
       " env PATH=/nowhere $ROUTERBOX -- $f",
       126, "is a program for arm, and qemu-arm, which would run it, was not found"},
      {"no aria2", "env PATH=/nowhere $ROUTERBOX --downloads -- /bin/true", 125, "Install the package aria2"},
  };
  check(kCases);
}

TEST(RouterBox, HasARouterOfItsOwn) {
  static const Case kCases[] = {
      {"the package file is in place",
       "$ROUTERBOX -q --packages $PACKAGES -- cmp - /etc/norva/packages.json <$PACKAGES", 0, ""},
      {"plug-ins may not change it",
       "$ROUTERBOX -q --packages $PACKAGES --as 1003 -- sh -c ': >>/etc/norva/packages.json'", 2, "denied"},
      {"plug-ins have a uid and a name",
       "$ROUTERBOX -q --packages $PACKAGES --as 1003 -- sh -c 'id -u; id -g; id -G; id -un'", 0,
       "10003\n10003\n10003\nzel1003\n"},
      {"plug-ins in the background have their uid, and their appid in front of each line",
       "$ROUTERBOX -q --packages $PACKAGES --start \"1003 sh -c 'id -u; printf unfinished; touch /tmp/a'\""
       " -- sh -c 'until [ -e /tmp/a ]; do sleep 0.01; done'",
       0, "1003 | 10003\n1003 | unfinished\n"},
      {"the permission table is the only IPC object",
       "$ROUTERBOX -q -- sh -c 'cat /proc/sysvipc/sem /proc/sysvipc/shm | wc -l'", 0, "4\n"},
      {"a table that cannot be made is told with its meaning",
       "$ROUTERBOX -q --permissions /etc/passwd -- echo ran", 125, "(7006)"},
  };
  check(kCases);
}

TEST(RouterBox, TakesFoldersOfTheHostForFilesAndDownloads) {
  const HostFolder folder;
  folder.file("greeting", "good day");
  folder.file("ask",
              "#!/bin/bash\n"
              "exec 3<>/dev/tcp/127.0.0.1/$1\n"
              "printf '%s HTTP/1.0\\r\\nContent-Length: %d\\r\\n\\r\\n%s' \"$2\" ${#3} \"$3\" >&3\n"
              "cat <&3\n");
  folder.file(
      "rpc",
      "#!/bin/sh\n"
      "exec ${0%rpc}ask 6800 'POST /jsonrpc' "
      "'{\"id\": 1, \"jsonrpc\": \"2.0\", \"method\": \"aria2.'\"$1\"'\", \"params\": ['\"$2\"']}'\n");
  setenv("FOLDER", folder.root().c_str(), 1);
  static const Case kCases[] = {
      {"a file", "$ROUTERBOX -q --files $FOLDER -- $FOLDER/ask 8080 'GET /files/greeting'", 0, "\ngood day"},
      {"none outside", "$ROUTERBOX -q --files $FOLDER -- $FOLDER/ask 8080 'GET /files/../x'", 0, " 404 "},
      {"a new task",
       "$ROUTERBOX -q --downloads $FOLDER -- $FOLDER/rpc addUri "
       "'[\"http://127.0.0.1/a\"], {\"appid\": \"71\", \"pause\": \"true\"}'",
       0, "\"result\":"},
      {"in the next box", "$ROUTERBOX -q --downloads $FOLDER -- $FOLDER/rpc tellWaiting '0, 9, [\"gid\"]'", 0,
       "\"appid\":\"71\""},
  };
  check(kCases);
}

TEST(RouterBox, SharesNothingWithTheHost) {
  const HostFolder folder;
  const int semaphore = semget(IPC_PRIVATE, 1, 0600);
  ASSERT_GE(semaphore, 0);
  const std::string semaphores = whole("/proc/sysvipc/sem"), segments = whole("/proc/sysvipc/shm");
  const std::string mark = folder.root().substr(folder.root().rfind('/') + 1);
  const Outcome seen = run("cd / && $ROUTERBOX -q --no-perm -- sh -c 'ls -d /tmp/" + mark +
                           " 2>/dev/null; grep -hv key /proc/sysvipc/*;"
                           " touch /tmp/in-" +
                           mark + " /etc/in-" + mark + " /var/run/in-" + mark + "'");
  EXPECT_EQ("", seen.output);
  EXPECT_EQ(0, seen.status);
  EXPECT_EQ(semaphores, whole("/proc/sysvipc/sem"));
  EXPECT_EQ(segments, whole("/proc/sysvipc/shm"));
  semctl(semaphore, 0, IPC_RMID);
  for (const char* place : {"/tmp/in-", "/etc/in-", "/var/run/in-"})
    EXPECT_FALSE(std::filesystem::exists(place + mark)) << place;

  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), size));
  ASSERT_EQ(0, listen(listener, 1));
  ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
  const std::string dial =
      "bash -c 'exec 3<>/dev/tcp/127.0.0.1/" + std::to_string(ntohs(address.sin_port)) + "'";
  EXPECT_EQ(0, run(dial).status);
  // "refused" and not "unreachable": the box's loopback is up, and nobody listens there.
  EXPECT_NE(std::string::npos, run("$ROUTERBOX -q -- " + dial).output.find("refused"));
  close(listener);
}

TEST(RouterBox, LetsPlugInsThroughToTheirPrograms) {
  const HostFolder folder;
  std::filesystem::create_directories(folder.path("closed/open"));
  folder.file("closed/open/script", "#!/bin/sh\npwd; id -u\n");
  std::filesystem::permissions(folder.path("closed"), std::filesystem::perms(0700));
  const Outcome let =
      run("cd " + folder.path("closed/open") + " && $ROUTERBOX --packages $PACKAGES --as 1003 -- ./script");
  EXPECT_EQ(0, let.status) << let.output;
  EXPECT_NE(std::string::npos, let.output.find(folder.path("closed"))) << let.output;
  EXPECT_NE(std::string::npos, let.output.find(folder.path("closed/open\n10003\n"))) << let.output;
}

TEST(RouterBox, PassesSignalsOnToTheCommand) {
  EXPECT_EQ("status 5\n",
            run("{ $ROUTERBOX -q -- sh -c 'trap \"exit 5\" TERM; echo ready; while :; do sleep 0.01; done' &"
                " echo $!; wait $!; echo status $?; } |"
                " { read a; read b; kill -TERM ${a#ready}${b#ready}; cat; }")
                .output);
}

// The plug-in and the command hold a pipe that ends with its last writer.
TEST(RouterBox, LeavesNothingBehindWhenItIsKilled) {
  const HostFolder folder;
  ASSERT_EQ(0, mkfifo(folder.path("life").c_str(), 0666));
  ASSERT_EQ(0, chmod(folder.path("life").c_str(), 0666));
  setenv("LIFE", folder.path("life").c_str(), 1);
  setenv("STAY", "trap : TERM HUP; exec 5>$LIFE; echo up >&5; while :; do sleep 1; done", 1);
  const std::string output =
      run("{ $ROUTERBOX -q --env STAY --env LIFE --keep $LIFE --packages $PACKAGES"
          " --start \"1003 sh -c 'eval \\$STAY'\" -- sh -c 'eval $STAY' & echo $!; wait $!; echo status $?; "
          "} |"
          " { read box; exec 8<$LIFE; read up <&8; read up <&8; kill -KILL $box; cat <&8; cat; }")
          .output;
  EXPECT_NE(std::string::npos, output.find("status 137\n")) << "a process of the box still lives: " << output;
}

}  // namespace
