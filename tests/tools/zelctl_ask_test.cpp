// zelctl device and http: what the router and servers answer.
#include "zelctl.h"

namespace {

class Ask : public Zelctl {};

}  // namespace

TEST_F(Ask, TellsWhatTheDeviceIs) {
  static const Case kCases[] = {
      {"info", "$Z device info", 0, "device id         N0123456789\ndevice name       Home router\n"},
      {"for scripts", "$Z --as 1004 device info --json", 0,
       R"({"device_id":"N0123456789","device_name":"Home router","daemon_version":"2.1.0",)"
       R"("firmware_version":"1.4.2","hardware_name":"ACME_R1","sdk_version":3})"},
      {"nobody may not", "chmod 600 /tmp/norva_daemon.info; $NOBODY $Z device info", 4,
       "norva_daemon.info: Permission denied\nThe library wants to write"},
      {"no daemon", "rm /tmp/norva_daemon.info; $Z device info", 3,
       "No such file or directory\nIs the router's"},
      {"hardware", "$NOBODY $Z device hw --json", 0, R"({"firmware":"1.4.2","hardware":"ACME_R1"})"},
      {"of a router that refuses",
       "curl -sd '{\"method\": \"query_router_info\", \"kind\": \"error:7\", \"count\": \"once\"}' "
       "127.0.0.1:14000/box/fault; $Z device hw",
       3, "did not tell its firmware and hardware (7)\nWhat is wrong: zelctl doctor"},
      {"address", "$Z device mac --json", 0, R"({"lan_mac":"a4:5e:60:0b:1c:ff"})"},
      {"memory", "$Z device memory --json | sed 's/[0-9]\\+/N/g'", 0, R"({"total_kib":N,"used_kib":N})"},
      {"for people", "$Z device memory", 0, "iB\nused   about "},
      {"question", "$Z device config weburl_black --json", 0,
       R"({"key":"weburl_black","answer":"ads.example\ntracker.example","may_be_longer":false})"},
      {"no question", "$Z device config weburls", 2, "KEY is one of sign, cloudsign, lanmac"},
      {"an upgrade by mistake", "$Z device config upgrade", 2, "zelctl device config upgrade --yes"},
      {"a script that fails",
       ""
       "mv /usr/local/localshell/norva_daemon_shell /tmp; $Z device config sign",
       3, "norva_daemon_shell failed (127)"},
      {"no address", "$Z device mac", 3, "gave no address\nIts answer: zelctl device config lanmac"},
  };
  check(kCases);
}

TEST_F(Ask, TransfersAsPluginsDo) {
  static const Case kCases[] = {
      {"get", "$NOBODY $Z http get http://127.0.0.1:8080/status/200", 0, "200"},
      {"for scripts", "$Z http get http://127.0.0.1:8080/bytes/1 --json", 0,
       R"({"status":200,"header":"HTTP/1.1 200 OK\r\n)"},
      {"another status", "$Z http get http://127.0.0.1:8080/status/404 --json", 3,
       R"("error":"http://127.0.0.1:8080/status/404 answered with status 404","code":404)"},
      {"too long",
       "printf '{\"method\":\"bytes\",\"kind\":\"garbage\",\"text\":\"%0204800d\",\"count\":1}' 0 | "
       "curl -sd @- 127.0.0.1:8080/box/fault; $Z http get http://127.0.0.1:8080/bytes/1 2>&1 >/dev/null",
       0, "note: of the body the library keeps 204800 characters; it may be longer"},
      {"silence", "$Z http get http://127.0.0.1:8080/hang --timeout 1 --tries 2", 3,
       "no answer of HTTP/1 within 2 s"},
      {"no time", "$Z http get x --timeout 0", 2, "--timeout is a number from 1 to 86400, not '0'"},
      {"post",
       "echo '{\"id\":1,\"method\":\"aria2.getVersion\"}' >/tmp/q; $Z http post "
       "http://127.0.0.1:6800/jsonrpc /tmp/q",
       0, "\"version\""},
      {"nothing", "$Z http post http://127.0.0.1:6800/jsonrpc /dev/null", 3, "/dev/null is no plain file"},
      {"no file", "$Z http post http://127.0.0.1:6800/jsonrpc /none", 3, "/none: No such file"},
  };
  check(kCases);
}
