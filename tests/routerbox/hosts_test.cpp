// Services outside, as programs in the box find them.
#include <gtest/gtest.h>

#include <filesystem>

#include "run.h"

namespace {

class BoxHosts : public testing::Test {
 protected:
  BoxHosts() {
    std::filesystem::create_directories(folder_.path("api/v1"));
    folder_.file("secret", "not to be read");
    folder_.file("api/v1/now.json", "{\"t\": 3}");
    folder_.file("api/v1/now?city=Bern", "4 degrees");
    folder_.file("api/busy", "later");
    folder_.file("api/busy.reply.toml", "status = 503\n[headers]\nContent-Type = 'text/x-busy'\n");
    setenv("BOX",
           ("$ROUTERBOX -q --packages $PACKAGES --host api.weather.example=" + folder_.path("api")).c_str(),
           1);
    setenv("FOLDER", folder_.root().c_str(), 1);
  }
  const HostFolder folder_;
};

TEST_F(BoxHosts, AnswerFromTheirFoldersWithCertificatesThatProgramsTrust) {
  static const Case kCases[] = {
      {"a file", "eval $BOX --as 1003 -- curl -si http://api.weather.example/v1/now", 0, "application/json"},
      {"libcurl trusts", "eval $BOX --as 1003 -- curl -sS https://API.weather.example/v1/now", 0,
       "{\"t\": 3}"},
      {"a query", "eval $BOX -- curl -sS 'https://api.weather.example/v1/now\\?city=Bern'", 0, "4 degrees"},
      {"a side file's status", "eval $BOX -- curl -si https://api.weather.example/busy", 0, "503 Service"},
      {"its header", "eval $BOX -- curl -si https://api.weather.example/busy", 0,
       "Content-Type: text/x-busy\r\n"},
      {"no such file", "eval $BOX -- curl -s http://api.weather.example/v2", 0, "/api/v2\n"},
      {"none outside its folder", "eval $BOX -- curl -s --path-as-is http://api.weather.example/../secret", 0,
       "there is no file"},
      {"another name", "eval $BOX -- curl -s https://www.weather.example/", 6, ""},
      {"the name is checked", "eval $BOX -- curl -sS https://127.0.0.2/", 60, "subject name matches"},
      {"OpenSSL trusts",
       "eval $BOX --as 1003 -- openssl s_client -verify_return_error -verify_hostname api.weather.example"
       " -connect api.weather.example:443 </dev/null",
       0, "Verify return code: 0"},
      {"all is in the trace",
       "eval $BOX -- sh -c \"'curl -s -d one http://api.weather.example/v1; cat /var/run/box/trace.jsonl'\"",
       0,
       R"("from":"root","to":"api.weather.example","what":"POST http://api.weather.example/v1","result":"404")"},
  };
  check(kCases);
}

TEST_F(BoxHosts, AreRefusedWithTheirPlaceWhenTheyAreWrong) {
  folder_.file("api/a.reply.toml", "\nstatsu = 3\n");
  static const Case kCases[] = {
      {"a side file", "eval $BOX -- true", 125, "/api/a.reply.toml:2: statsu = 3 is no key"},
      {"no folder", "$ROUTERBOX --host a.example -- true", 125, "--host api.weather.example=FOLDER"},
      {"a folder that is none", "$ROUTERBOX --host a.example=/etc/passwd -- true", 125,
       "/etc/passwd is none"},
      {"a wrong name", "$ROUTERBOX --host A=/ -- true", 125, "'A' is no host name"},
      {"one twice", "$ROUTERBOX --host a.example=/ --host a.example=/ -- true", 125, "is there twice"},
  };
  check(kCases);
}

}  // namespace
