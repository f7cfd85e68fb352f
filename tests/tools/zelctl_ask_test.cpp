// zelctl device, http, router and doctor: what the router and its servers answer.
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
      {"memory", "$Z device memory --json | sed 's/[0-9]\\+/N/g'", 0,
       R"({"total_kib":N,"used_kib_about":N})"},
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
       R"("error":"http://127.0.0.1:8080/status/404 answered with another status than 200","code":404)"},
      {"too long",
       "printf '{\"method\":\"bytes\",\"kind\":\"garbage\",\"text\":\"%0204800d\",\"count\":1}' 0 | "
       "curl -sd @- 127.0.0.1:8080/box/fault; $Z http get http://127.0.0.1:8080/bytes/1 2>&1 >/dev/null",
       0, "note: these are the first 204800 bytes of the body: the library keeps a text"},
      {"silence", "$Z http get http://127.0.0.1:8080/hang --timeout 1 --tries 2", 5, "no answer within 2 s"},
      {"no time", "$Z http get x --timeout 0", 2, "--timeout is a number from 1 to 86400, not '0'"},
      {"post",
       "echo '{\"id\":1,\"method\":\"aria2.getVersion\"}' >/tmp/q; $Z http post "
       "http://127.0.0.1:6800/jsonrpc /tmp/q",
       0, "\"version\""},
      {"nothing", "$Z http post http://127.0.0.1:6800/jsonrpc /dev/null", 3, "/dev/null is no plain file"},
      {"no file", "$Z http post http://127.0.0.1:6800/jsonrpc /none", 3, "/none: No such file"},
      {"not for all", "chmod 600 /tmp/q; $NOBODY $Z http post http://x /tmp/q", 4,
       "/tmp/q: Permission denied"},
  };
  check(kCases);
}

TEST_F(Ask, AsksTheRouter) {
  setenv("FAULT", "curl -s 127.0.0.1:14000/box/fault -d", 1);
  static const Case kCases[] = {
      {"name", "$Z router name --json; $Z --as 1001 router id --json", 0,
       "{\"name\":\"Home\"}\n{\"id\":\"N0123456789\"}\n"},
      {"speed", "$Z router speed", 0,
       "download  1250  840      11800\nupload    96    64       1900\nin the router's own"},
      {"for scripts", "$Z router speed --json", 0,
       R"({"download":{"now":1250,"average":840,"peak":11800},"upload":{"now":96,"average":64,"peak":1900}})"},
      {"status", "$Z router status --json", 0,
       R"({"internet":true,"cable":true,"address":"203.0.113.24","type":0})"},
      {"wifi", "$Z router wifi --json", 0,
       R"({"networks":[{"name":"Home","band":"2.4 GHz","on":true},{"name":"Home 5G")"},
      {"disks", "$Z router disks --json", 0,
       R"("used":204800,"total":1024000,"uuid":"6A3C-91F0"}],"left_out":0})"},
      {"dns", "$NOBODY $Z router dns set 9.9.9.9 149.112.112.112 --json", 0,
       R"({"first":"9.9.9.9","second":"149.112.112.112"})"},
      {"one alone", "$Z router dns set 9.9.9.9", 0, "first   9.9.9.9\nsecond  none\n"},
      {"taken back", "$Z router dns reset && $Z router dns get", 0, "first   none\nsecond  none\n"},
      {"set, but not to be read",
       "$FAULT '{\"method\":\"set_router_wan\",\"kind\":\"delay:2s\",\"count\":1}'; (until grep -q delay "
       "/var/run/router/requests.log; do sleep 0.1; done; $FAULT '{\"method\":\"*\",\"kind\":\"error:5\"}') "
       "& $Z router dns set 9.9.9.9 1.1.1.1; s=$?; curl -s -X "
       "DELETE "
       "127.0.0.1:14000/box/fault; exit $s",
       3, "it was done, but the servers cannot be read back"},
      {"no address", "$Z router dns set 9.9.9.9 dns.example", 2,
       "'dns.example' is no IPv4 address\nGive the"},
      {"without the ability", "$Z --as 1002 router wifi", 4,
       "1002 does not hold ability 8 (ability_wifi) (7016)"},
      {"more than can be told",
       "printf '{\"WIFIStatus\":[%s]}' \"$(seq -s, 270 | sed "
       "'s/[0-9]\\+/{\"WIFI_SSID\":\"\",\"WIFI_WirelessFrequency\":\"5\",\"WIFI_Status\":0}/g')\" | "
       "curl -s -X PATCH -d @- 127.0.0.1:14000/box/state >/dev/null; $Z router wifi",
       3, "wifi: the router did not answer as it should (-2)"},
      {"an error", "$FAULT '{\"method\":\"*\",\"kind\":\"error:5\"}'; $Z router disks", 3,
       "disks: the router's own error code (5)\nDoes the router"},
      {"of dns", "$Z router dns get", 3, "dns: no usable answer, or one that reports an error (-2)"},
      {"a lie",
       "curl -s -X DELETE 127.0.0.1:14000/box/fault; $FAULT '{\"method\":\"*\",\"kind\":\"garbage\"}'; $Z "
       "router speed",
       3, "(-2)"},
      {"nothing to capture", "$Z router capture --json", 3,
       "{\"error\":\"the router's management interface gave no answer\""},
      {"silence",
       "curl -s -X DELETE 127.0.0.1:14000/box/fault; $FAULT '{\"method\":\"*\",\"kind\":\"hang\"}'; $Z "
       "router name",
       5, "the router's management interface took the request and stayed silent for 9 s\nIt hangs"},
  };
  check(kCases);
}

TEST_F(Ask, CapturesTheRouterForTheBox) {
  static const Case kCases[] = {
      {"what is left out",
       "curl -sd '{\"method\": \"query_disk_info\", \"kind\": \"error:7\", \"count\": \"once\"}' "
       "127.0.0.1:14000/box/fault; $Z router capture --json",
       0, R"({"left_out":["DiskInfo"],"state":{"WIFIStatus":[{)"},
      {"masked whole",
       "printf '{\"WIFIStatus\":[{\"WIFI_Pwd\":\"ab\",\"AP_SN\":\"S1\"}]}' | curl -s -X PATCH -d @- "
       "127.0.0.1:14000/box/state >/dev/null; $Z router capture --json",
       0, R"("WIFI_Pwd":"masked","AP_SN":"masked")"},
      {"serial numbers and signatures",
       "$Z router capture >/tmp/s; grep -c masked /tmp/s; grep -E 'secret|N0123|5f2c|c41d' /tmp/s", 1, "6\n"},
      {"all of it",
       "$Z router capture --with-secrets | grep -oE "
       "'secret|N0123456789|c41d88e6f3|6A3C-91F0|ads.ex[^\"]*'",
       0, "secret\n6A3C-91F0\nN0123456789\nc41d88e6f3\nads.example\\ntracker"},
      {"nothing changed", "grep -c set_router /var/run/router/requests.log", 1, "0\n"},
  };
  check(kCases);
}

TEST_F(Ask, FindsWhatIsWrong) {
  static const Case kCases[] = {
      {"nothing", "$Z doctor", 0, "nothing is wrong\n"},
      {"the library's place", "$Z doctor", 0, "/libzel.so.0."},
      {"for all", "$NOBODY $Z doctor --json", 0,
       R"({"check":"port 6800","state":"good","found":"the download daemon answers","advice":""})"},
      {"all at once",
       "sed -i s/listener/lauscher/ $F; sed -i /zel1004/d /etc/passwd; kill -STOP $BROKER; rm "
       "/tmp/norva_daemon.info; mv /usr/local/localshell/norva_daemon_shell /tmp; kill $(cat "
       "/var/run/downloads/front.pid) $(pidof boxrouter); $Z doctor >/tmp/out; echo $? >>/tmp/out; "
       "kill -CONT $BROKER; grep -c WRONG /tmp/out; cat /tmp/out",
       0, "7\n"},
      {"the bus", "grep ^bus /tmp/out", 0, "takes connections, but does not greet\nbus: The broker hangs"},
      {"accounts", "grep ^accounts /tmp/out", 0, "missing for 1004\naccounts: Give their users"},
      {"packages", "grep ^packages /tmp/out", 0, "differ from the table"},
      {"no broker", "kill $BROKER; while kill -0 $BROKER 2>&-; do sleep 0.1; done; $Z doctor --json", 1,
       R"("found":"no broker at /)"},
      {"no table", "ipcrm -a; $Z doctor", 1, "table         WRONG  not initialised"},
  };
  check(kCases);
}
