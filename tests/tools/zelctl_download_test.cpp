// zelctl download. $ADD has a file of a megabyte and a half fetched at 300 kB/s.
#include "zelctl.h"

namespace {

class Download : public Zelctl {};

}  // namespace

TEST_F(Download, ShowsAndChangesTasks) {
  setenv("ADD", "$Z download add http://127.0.0.1:8080/slow/100000/2000000 --dir /tmp --name", 1);
  static const Case kCases[] = {
      {"none", "$Z download list", 0, "no tasks\n"},
      {"as a plug-in",
       "$Z --as 1001 download add http://127.0.0.1:8080/bytes/1000 --dir /tmp --name a --wait --json", 0,
       R"("state":"complete","completed_bytes":1000,"total_bytes":1000,)"
       R"("bytes_per_second":0,"error_code":0,"error":""})"},
      {"for people", "$Z download list", 0, "  complete  1000 bytes of 1000 bytes"},
      {"not another's", "$Z perm update 1003 --abilities 1 >/dev/null; $Z --as 1003 download list --json", 0,
       R"({"tasks":[],"may_be_longer":false})"},
      {"watched for scripts", "$Z download watch $($Z download list | grep -o '^[0-9a-f]\\{16\\}') --json", 0,
       R"("error_code":0,"error":""}],"may_be_longer":false})"},
      {"added for scripts",
       "$Z download add http://127.0.0.1:8080/bytes/1 --dir /tmp --name c --json | "
       "sed 's/:[0-9]\\+/:N/g; s/[0-9a-f]\\{16\\}/ID/; s/:.waiting.\\|:.complete./:\"active\"/'",
       0,
       R"({"id":"ID","state":"active","completed_bytes":N,"total_bytes":N,"bytes_per_second":N,)"
       R"("error_code":N,"error":""})"},
      {"under way", "eval \"$ADD b\" >/tmp/id; $Z download show $(cat /tmp/id)", 0,
       "state   active\namount  "},
      {"completed for shells", "$Z completion words -- download pause '' | grep -c -f /tmp/id", 0, "1\n"},
      {"pause", "sleep 1; $Z download pause $(cat /tmp/id) --json", 0, "\",\"accepted\":\"pause\"}"},
      {"twice",
       "until $Z download show $(cat /tmp/id) | grep -q paused; do sleep 0.1; done; $Z download pause $(cat "
       "/tmp/id)",
       1, "is paused, in no state for that (-1)\nMore of it: zelctl"},
      {"waiting for it", "$Z download watch $(cat /tmp/id)", 1,
       "is paused\nTo go on: zelctl download resume "},
      {"resume and interrupt",
       "$Z download resume $(cat /tmp/id) && { $Z download watch $(cat /tmp/id) & sleep 2; kill -INT $!; "
       "wait $!; }",
       5, "zelctl: interrupted; task "},
      {"all", "$Z --json download watch & sleep 2; kill -TERM $!; wait $!", 5,
       "{\"error\":\"interrupted; tasks under way: 1\""},
      {"on a terminal",
       "timeout 5 script -qec \"$Z download watch $(cat /tmp/id)\" /dev/null | grep -ao '\\[#*\\.*\\]  "
       "*[0-9]* %' | head -n 1",
       0, "#"},
      {"delete",
       "$Z download delete $(cat /tmp/id) && until $Z download show $(cat /tmp/id) | grep -q removed; do "
       "sleep 0.1; done; $Z download watch",
       0, "  removed   "},
  };
  check(kCases);
}

TEST_F(Download, SaysWhatFailed) {
  setenv("ADD", "download add http://127.0.0.1:8080/status/404 --name f --dir", 1);
  setenv("FAULT", "curl -s 127.0.0.1:6800/box/fault -d", 1);
  static const Case kCases[] = {
      {"not found", "$Z $ADD /tmp --wait", 3, "failed: not found, or not authorised (4)"},
      {"no folder", "$Z $ADD /none", 3, "the folder does not exist, or is none (8003)\nMake it first"},
      {"not ours", "$Z --as 1001 $ADD /root", 4, "this user may not write to the folder (8004)"},
      {"not whole", "$Z $ADD tmp", 2, "--dir: 'tmp' does not begin with /"},
      {"no name", "$Z download add http://x --dir /tmp --name a/b", 2, "--name: a name has no /"},
      {"empty", "$Z download add '' --dir /tmp --name a", 2, "download add: URL is empty\nHelp: zelctl"},
      {"a URL of no host", "$Z download add http:/x --dir /tmp --name a", 3,
       "did not take http:/x (-1)\nIs it right?"},
      {"no URL", "$Z download add notaurl --dir /tmp --name a", 2,
       "URL: 'notaurl' does not begin with http://"},
      {"no such task", "$Z download show 123", 1,
       "the daemon knows no task 123 (-1)\nAll ids: zelctl download list"},
      {"too long an id", "$Z download show 123456789012345678901234", 2, "an id is at most 23 characters"},
      {"without the ability", "$Z --as 1002 download list --json", 4,
       "ability 1 (ability_download)\",\"code\":7016"},
      {"too many",
       "for i in $(seq 95); do printf "
       "'%s{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"aria2.addUri\",\"params\":[[\"http://"
       "127.0.0.1:8080/hang\"],{\"pause\":\"true\"}]}' $c; c=,; done | sed 's/.*/[&]/' >/tmp/q; "
       "$Z http post http://127.0.0.1:6800/jsonrpc /tmp/q >/dev/null; $Z download list",
       3, "more than some 60 tasks"},
      {"garbage", "$FAULT '{\"method\":\"*\",\"kind\":\"garbage\"}'; $Z download list", 3,
       "the daemon gave no list, or none that can be read (-1)\nDoes the daemon run?"},
      {"lies",
       "curl -s -X DELETE 127.0.0.1:6800/box/fault; $FAULT '{\"method\":\"*\",\"kind\":\"types\"}'; "
       "$Z download show 123 --json",
       3, "answered otherwise than expected\",\"code\":-1"},
      {"silence",
       "curl -s -X DELETE 127.0.0.1:6800/box/fault; $FAULT '{\"method\":\"*\",\"kind\":\"hang\"}'; "
       "$Z download show 123 --json",
       5, "{\"error\":\"the download daemon took the request and stayed silent for 9 s\",\"code\":0"},
      {"no daemon",
       "p=$(cat /var/run/downloads/front.pid); kill $p; while kill -0 $p 2>&-; do sleep 0.1; done; $Z "
       "download pause 123",
       3, "the daemon could not be asked"},
  };
  check(kCases);
}
