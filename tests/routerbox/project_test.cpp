// box.toml as an author writes it, rightly and wrongly.
#include <gtest/gtest.h>

#include <filesystem>

#include "routerbox/project/project.h"
#include "routerbox/support/failure.h"
#include "run.h"

namespace {

using routerbox::Project;

class BoxToml : public testing::Test {
 protected:
  BoxToml() {
    std::filesystem::create_directory(folder_.path("fixtures"));
    folder_.file("state.json", "{}");
    folder_.file("stub.toml", "[[send]]\nto = 'weather'\ntext = ''\nafter = 0\n");
  }

  Project read(const std::string& text) const {
    return routerbox::read_project(folder_.file("box.toml", text));
  }

  std::string refusal_of(const std::string& text) const {
    try {
      read(text);
    } catch (const routerbox::Failure& failure) {
      return failure.what();
    }
    return "nothing";
  }

  const HostFolder folder_;
};

TEST_F(BoxToml, SaysWhatTheBoxIsToHave) {
  const Project project = read(
      "[box]\nrouter = 'state.json'\ndownloads = true\nfiles = false\n"
      "[hosts]\n\"api.weather.example\" = 'fixtures'\n"
      "[[plugin]]\nname = 'weather'\nappid = '3001'\nrun = \"./build/weather 'two words'\"\n"
      "abilities = ['download', 'ability_wan', 5]\n"
      "[[plugin]]\nname = 'link'\nappid = '3002'\nuid = 77\nstub = 'stub.toml'\n");
  EXPECT_EQ(folder_.root(), project.folder);
  EXPECT_EQ(folder_.path("state.json"), project.router.path);
  EXPECT_TRUE(project.downloads.wanted && !project.files.wanted);
  ASSERT_EQ(1U, project.hosts.size());
  EXPECT_EQ(folder_.path("fixtures"), project.hosts[0].folder);
  ASSERT_EQ(2U, project.plugins.size());
  EXPECT_EQ((std::vector<std::string>{"./build/weather", "two words"}), project.plugins[0].run);
  EXPECT_EQ(folder_.path("box.toml:7"), project.plugins[0].place);
  EXPECT_EQ(R"({"plugin":[{"appname":"weather","appid":"3001","uid":10001,"abilitybits":81},)"
            R"({"appname":"link","appid":"3002","uid":77,"abilitybits":0}]})"
            "\n",
            routerbox::package_file_of(project));
}

TEST_F(BoxToml, IsRefusedWithThePlaceAndWhatWasExpected) {
  static const std::string kWeather = "[[plugin]]\nname = 'weather'\nappid = '3001'\nrun = 'a'\n";
  static const struct {
    const char* why;
    std::string text;
    const char* message;
  } kCases[] = {
      {"no TOML", "[box]\nrouter = \n", "box.toml:2: "},
      {"unknown section", "[boxes]\n", ":1: boxes is no key that is known here; did you mean box?"},
      {"unknown key", "[box]\nfile = true\n",
       ":2: file = true is no key that is known here; did you mean files?"},
      {"nothing near", "[box]\nzzz = 1\n", "; there is router, downloads, files"},
      {"a switch of another kind", "[box]\nrouter = 3\n",
       ":2: router = 3 must be true, false or the path of a file"},
      {"no such file", "[box]\nrouter = 'no.json'\n", "/no.json does not exist"},
      {"a file for a folder", "[box]\nfiles = 'state.json'\n", "/state.json is none"},
      {"no host name", "[hosts]\n'a b' = 'fixtures'\n",
       ":2: a b = 'fixtures' needs another name; a b is no host name"},
      {"one plug-in as a table", "[plugin]\nname = 'a'\n", ":1: plugin must be written [[plugin]]"},
      {"no name", "\n[[plugin]]\nappid = '3'\nrun = 'a'\n", ":2: plugin needs a name"},
      {"a name with a blank", "[[plugin]]\nname = 'a b'\n", "must begin with a letter"},
      {"a name of the box's", "[[plugin]]\nname = 'router'\n", "is a word of the box itself"},
      {"an appid as number", "[[plugin]]\nappid = 3\n", ":2: appid = 3 must be a text in quotes"},
      {"the router's appid", "[[plugin]]\nappid = '2'\n", "belongs to the router itself"},
      {"root's uid", "[[plugin]]\nuid = 0\n", "must be a whole number from 1 to 4294967294"},
      {"nothing to run", "[[plugin]]\nname = 'a'\nappid = '3'\n", "needs run = "},
      {"both", "[[plugin]]\nname = 'a'\nappid = '3'\nrun = 'a'\nstub = 'state.json'\n", "both run and stub"},
      {"an ability nearly", "[[plugin]]\nabilities = ['wann']\n",
       ":2: abilities = 'wann' must be an ability's name or number; did you mean wan?"},
      {"an ability's number", "[[plugin]]\nabilities = [16]\n", "from 1 to 15"},
      {"a name twice", kWeather + "[[plugin]]\nname = 'weather'\nappid = '4'\nrun = 'a'\n",
       ":5: plugin has the name weather of the plug-in at "},
      {"an appid twice", kWeather + "[[plugin]]\nname = 'b'\nappid = '3001'\nrun = 'a'\n",
       ":5: plugin has the appid 3001"},
      {"a uid twice", kWeather + "[[plugin]]\nname = 'b'\nappid = '4'\nuid = 10001\nrun = 'a'\n",
       ":5: plugin has the uid 10001"},
  };
  for (const auto& c : kCases) {
    const std::string message = refusal_of(c.text);
    EXPECT_NE(std::string::npos, message.find(c.message)) << c.why << ": " << message;
  }
}

TEST_F(BoxToml, RefusesAStubThatCannotBePlayed) {
  static const struct {
    const char* why;
    const char* text;
    const char* message;
  } kCases[] = {
      {"nothing", "", "stub.toml:1: a stub needs [[answer]], [[send]] or [[event]]"},
      {"unknown section", "[[answers]]\n",
       "stub.toml:1: answers = a list is no key that is known here; did you mean answer?"},
      {"one answer as a table", "[answer]\n", ":1: answer must be written [[answer]]"},
      {"unknown key", "[[answer]]\nlke = 'a'\n",
       ":2: lke = 'a' is no key that is known here; did you mean like?"},
      {"no expression", "[[answer]]\nmatch = '('\n",
       ":2: match = '(' is no POSIX extended regular expression: "},
      {"two patterns", "[[answer]]\nis = 'a'\nlike = 'b'\n", ":3: like = 'b' is a second pattern"},
      {"nothing to say", "[[answer]]\nis = 'a'\n", ":1: answer needs text = "},
      {"an unknown failure", "[[answer]]\nfail = 'hangs'\n", "is no way to fail; did you mean hang?"},
      {"fails and answers", "[[answer]]\nfail = 'end'\ntext = ''\n", "has fail beside what it answers"},
      {"never given", "[[answer]]\ntext = 'a'\n[[answer]]\nis = 'b'\ntext = ''\n",
       ":3: answer is never given: "},
      {"no time", "[[send]]\nto = 'link'\ntext = ''\n", ":1: send needs a time"},
      {"no time as known", "[[send]]\nevery = '5 s'\n", ":2: every = '5 s' must be a time such as"},
      {"too often", "[[send]]\nevery = 0\n", "must be 10ms or more"},
      {"a count alone", "[[event]]\nevent = 'wan'\nsub = 256\nafter = 0\ncount = 3\n", "no time between"},
      {"to nobody", "[[send]]\nto = 'lnk'\ntext = ''\nafter = 0\n",
       ":1: send is to 'lnk', which is no plug-in of the box; did you mean link?"},
      {"unknown event", "[[event]]\nevent = 'wn'\n", ":2: event = 'wn' is no event; did you mean wan?"},
      {"a subevent of another event", "[[event]]\nevent = 'wan'\nsub = 512\nafter = 0\n",
       "there is 256 and 257"},
      {"an ability that is missing", "[[answer]]\ntext = ''\n",
       "box.toml:1: link needs abilities = [\"cloud_communication\"]"},
  };
  for (const auto& c : kCases) {
    folder_.file("stub.toml", c.text);
    const std::string message = refusal_of("[[plugin]]\nname = 'link'\nappid = '3'\nstub = 'stub.toml'\n");
    EXPECT_NE(std::string::npos, message.find(c.message)) << c.why << ": " << message;
  }
}

}  // namespace
