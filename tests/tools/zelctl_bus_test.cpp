// zelctl cloud, event and bus. /tmp/serve is plug-in 1005, which answers in capitals; /tmp/ready waits for it.
#include "support/played_broker.h"
#include "zelctl.h"

namespace {

class Bus : public Zelctl {
 protected:
  void SetUp() override {
    Zelctl::SetUp();
    run("cd /tmp; echo \"exec $Z --as 1005 cloud serve --exec 'tr a-z A-Z' \\\"\\$@\\\"\" >serve; "
        "echo \"until $Z bus list zel_1005; do sleep 0.02; done\" >ready; chmod +x serve ready");
  }
};

}  // namespace

TEST_F(Bus, CarriesCloudMessages) {
  static const Case kCases[] = {
      {"answered",
       "/tmp/serve --count 2 >/tmp/out 2>&1 & /tmp/ready >/dev/null 2>&1; $NOBODY $Z cloud send 1005 'tea?'; "
       "$Z --as 1004 cloud send 1005 x --json; wait",
       0, "TEA?\n{\"target\":\"1005\",\"answer\":\"X\"}\n"},
      {"what came in", "cat /tmp/out", 0,
       "note: serving as zel_1005 until interrupted\n> tea?\n< TEA?\n> x\n< X\n"},
      {"for scripts, of a command that prints too much",
       "$Z --as 1005 cloud serve --json --exec 'printf %5000d 0; exit 3' --count 1 | tail -c 30 & /tmp/ready "
       ">/dev/null 2>&1; "
       "$Z cloud send 1005 x >/dev/null; wait",
       0, " \",\"status\":3,\"cut\":true}\n"},
      {"a command that is slow",
       "$Z --as 1005 cloud serve --exec 'sleep 30' --count 1 & /tmp/ready >/dev/null 2>&1; $Z cloud send "
       "1005 x --timeout 1; echo $?; wait",
       0,
       "gave no answer within 1 s\nIt hangs, or is busy. What it does: zelctl bus monitor\n5\n> x\n< \n  "
       "status 124\n"},
      {"too few", "$Z --as 1002 cloud serve --count 3 --for 1", 5, "0 of 3 messages came"},
      {"nobody there", "$Z cloud send 4711 x", 1,
       "no plug-in 4711 on the bus\nDoes it run, and hold ability 2?"},
      {"too long a time", "$Z cloud send 1005 x --timeout 9", 2,
       "--timeout is a number from 1 to 8, not '9'"},
      {"too long a name", "$Z cloud send $(printf %060d 0) x", 2, "APPID is at most 59 bytes"},
      {"too long an answer", "$Z --as 1002 cloud serve --answer $(printf %04096d 0)", 2,
       "at most 4095 bytes"},
      {"two answers", "$Z --as 1002 cloud serve --answer x --exec y", 2,
       "exclude each other\nHelp: zelctl cloud serve"},
      {"without the ability", "$Z --as 1003 cloud serve", 4,
       "1003 does not hold ability 2 (ability_cloud_communication) (7016)"},
      {"no plug-in", "$NOBODY $Z cloud serve", 4, "uid 4711 is no plug-in's (7015)\nRun it as root"},
      {"twice, and interrupted",
       "$Z --as 1005 cloud serve & /tmp/ready >/dev/null 2>&1; $Z --as 1005 cloud serve; s=$?; kill -INT $!; "
       "wait $! && exit $s",
       3, "another process serves zel_1005 already"},
  };
  check(kCases);
}

TEST_F(Bus, CarriesEvents) {
  // Sends until it is heard: nothing tells from outside when somebody listens.
  setenv("UNTIL", "until [ -s /tmp/out ]; do sleep 0.1;", 1);
  static const Case kCases[] = {
      {"heard",
       "$Z --as 1003 event listen wan disk --count 1 >/tmp/out & eval \"$UNTIL\" '$Z event send home 512; "
       "$Z --as 1005 event send wan 257 \"50% up\"; done'; wait; cut -c 9- /tmp/out",
       0, "  wan   257  50% up\n"},
      {"for scripts",
       "rm /tmp/out; $Z --as 1003 --json event listen --count 1 >/tmp/out & eval \"$UNTIL\" '$Z event send "
       "home 512 x --json; "
       "done'; wait; sed 's/[0-9]\\{9,\\}/T/' /tmp/out",
       0,
       "{\"event\":\"home\",\"subevent\":512,\"data\":\"x\"}\n{\"time\":T,\"event\":\"home\",\"subevent\":"
       "512,\"data\":"
       "\"x\"}\n"},
      {"interrupted",
       "rm /tmp/out; $Z --as 1003 event listen >/tmp/out & l=$!; eval \"$UNTIL\" '$Z event send disk 1; "
       "done'; kill -INT $l; "
       "wait $l && cat /tmp/out",
       0, "  disk    1  \n"},
      {"too few", "$Z --as 1003 event listen --count 2 --for 1 --json", 5,
       R"({"error":"0 of 2 events came","code":0)"},
      {"another kind's", "$Z event send disk 256", 2, "SUB is a number from 0 to 1, not '256'"},
      {"no kind", "$Z event send lan 1", 2, "EVENT is one of disk, wan, home, not 'lan'"},
      {"may not send", "$Z --as 1003 event send disk 1", 4,
       "does not hold ability 4 (ability_notify_send) (7016)"},
      {"may not listen", "$Z --as 1002 event listen", 4,
       "ability 5 (ability_notify_rcv) (7016)\nGrant it, as root: zelctl perm update 1002 --abilities 2,5. "
       "Or"},
  };
  check(kCases);
}

TEST_F(Bus, IsShownAsItIs) {
  static const Case kCases[] = {
      {"empty", "$Z bus list", 0, "nothing on the bus that the broker shows this user"},
      {"objects", "/tmp/serve >/dev/null 2>&1 & /tmp/ready >/dev/null 2>&1; $NOBODY $Z bus list 'zel_*' -v",
       0, "zel_1005\n  send_cmd  {msg: text}\n"},
      {"for scripts", "$Z bus list --json | sed 's/[0-9]\\{6,\\}/N/'", 0,
       R"({"objects":[{"name":"zel_1005","id":N,"methods":{"send_cmd":{"msg":"text"}}}]})"},
      {"call",
       "$Z --as 1004 bus call zel_1005 send_cmd '{\"msg\":\"x\",\"n\":[1,-2.5,5000000000,{\"t\":true}]}' "
       "--json",
       0, R"({"answers":[{"description":"X"}]})"},
      {"no method", "$Z bus call zel_1005 nosuch", 1,
       "zel_1005 nosuch: Method not found (3)\nWhat it takes: zelctl bus"},
      {"no object", "$Z bus call nosuch x", 1, "nosuch x: Not found (4)\nWhat there is: zelctl bus list"},
      {"no JSON", "$Z bus call zel_1005 send_cmd '{\"msg\":\n 1x}'", 2,
       "JSON: it does not parse: line 2, column 3"},
      {"no object", "$Z bus call zel_1005 send_cmd '[1]'", 2, "JSON: it is not an object"},
      {"too large", "$Z bus call zel_1005 send_cmd '{\"n\":1e300}'", 2, "is too large"},
  };
  check(kCases);
}

TEST_F(Bus, IsListenedTo) {
  setenv("UNTIL",
         "until [ $(wc -l </tmp/out) -ge ${N:-1} ]; do sleep 0.1; $Z event send wan 256 up >/dev/null; done; "
         "wait; cat /tmp/out",
         1);
  static const Case kCases[] = {
      {"listen", "$Z bus listen 'zel.*' --count 1 >/tmp/out & eval \"$UNTIL\"", 0,
       "zel.event  {\"event\":1,\"subevent\":256,\"data\":\"up\"}\n"},
      {"for scripts", "rm /tmp/out; $Z bus listen --count 1 --json >/tmp/out & eval \"$UNTIL\"", 0,
       R"({"event":"zel.event","data":{"event":1,"subevent":256,"data":"up"}})"},
      {"monitor",
       "rm /tmp/out; $Z bus monitor --json --count 6 >/tmp/out & N=6; eval \"$UNTIL\" | sed "
       "'s/[0-9]\\{4,\\}/N/'",
       0, R"({"client":N,"direction":"from","type":"invoke","seq":1,"contents":{"object":1,"method":"send")"},
      {"a reader that goes",
       "rm /tmp/out; $Z bus listen | head -n 1 >/tmp/out & for i in 1 2 3 4 5 6; do sleep 0.3; "
       "$Z event send wan 256 >/dev/null; done; wait",
       0, ""},
      {"stopped", "kill -STOP $BROKER; $Z bus list --json", 5,
       "stayed silent for 5 s\",\"code\":0,\"advice\":\"It is stopped"},
      {"for others, too", "$Z event send disk 1; s=$?; kill -CONT $BROKER; exit $s", 5,
       "stayed silent for 5 s"},
      {"gone while listening",
       "rm /tmp/out; $Z bus listen >/tmp/out & until [ -s /tmp/out ]; do sleep 0.1; $Z event send disk 1; "
       "done; kill $BROKER; wait $!",
       3, "broker has gone\nStart it again"},
      {"gone", "$Z cloud send 1005 x", 3, "there is no bus\nIs the broker"},
  };
  check(kCases);
}

TEST_F(Bus, MayHangWhileAServiceStarts) {
  const test::PlayedBroker first(
      [](const test::FrameSocket& client) { client.receive(); });  // None greets the next.
  setenv("AT", first.path().c_str(), 1);
  static const Case kCases[] = {
      {"put at the bus", "chmod -R a+rwx ${AT%/*}; ln -sf $AT /var/run/ubus/ubus.sock", 0, ""},
      {"hangs", "$Z --as 1003 event listen", 5, "took the connection and stayed silent for 5 s"}};
  check(kCases);
}
