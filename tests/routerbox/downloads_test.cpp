// The box's download daemon: a stock aria2 behind its front. Every case has a box and a daemon of its own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "run.h"
#include "support/router.h"

namespace {

using nlohmann::json;
using test::HttpReply;

constexpr int kFront = 6800, kDaemon = 16800;
// The real daemon would keep the connection open.
constexpr const char* kHeaders = "Content-Type: application/x-www-form-urlencoded\r\nConnection: close\r\n";

HttpReply post(const std::string& body, int port = kFront) {
  return test::http("POST", "/jsonrpc", body, port, kHeaders);
}

json call(const std::string& method, const json& params) {
  return {{"jsonrpc", "2.0"}, {"id", "1"}, {"method", method}, {"params", params}};
}

json answer(const json& request) {
  return json::parse(post(request.dump()).body, nullptr, false);
}

json result(const std::string& method, const json& params) {
  return answer(call(method, params)).value("result", json());
}

json new_task(const std::string& path, const json& options) {
  json all = {{"dir", "/tmp"}};
  all.update(options);
  return {json::array({"http://127.0.0.1:8080" + path}), all};
}

void end(const std::string& server, const std::string& signal) {
  const std::string pid = "$(cat /var/run/downloads/" + server + ".pid)";
  run("kill -" + signal + " " + pid + "; tail --pid=" + pid + " -f /dev/null");
}

void start(const std::string& server, const char* port) {
  run("/var/run/downloads/" + server + " >/dev/null 2>&1 &");
  run(std::string("bash -c 'until (exec 3<>/dev/tcp/127.0.0.1/") + port +
      ") 2>/dev/null; do sleep 0.01; done'");
}

TEST(BoxDownloads, AnswersByteByByteAsTheDaemonDoes) {
  const std::string version = call("aria2.getVersion", json::array()).dump();
  for (const std::string& body :
       {std::string("garbage"), std::string("5"), std::string(60000, ' ') + version,
        "[5," + version + ",{\"method\":\"aria2.tellStatus\"}]", call("aria2.nothing", json::array()).dump(),
        call("aria2.tellStatus", json::array({"00"})).dump(),
        R"({"method":"aria2.tellActive","params":)" + std::string(500'000, '[') + std::string(500'000, ']') +
            "}"}) {
    const HttpReply front = post(body), daemon = post(body, kDaemon);
    EXPECT_EQ(daemon.status, front.status) << body;
    EXPECT_EQ(daemon.body, front.body) << body;
    EXPECT_NE("", front.body) << body;
  }
  const std::string get = "/jsonrpc?method=aria2.getVersion&id=5";
  EXPECT_EQ(test::http("GET", get, "", kDaemon, kHeaders).body, test::http("GET", get, "", kFront).body);
}

TEST(BoxDownloads, RemembersTheAppidsOfAllTasksThroughEveryEnd) {
  const json active = result("aria2.addUri", new_task("/slow/1000/900000", {{"out", "a"}, {"appid", "12"}}));
  const json waiting = answer(json::array(
      {5, call("aria2.addUri", new_task("/bytes/9", {{"out", "b"}, {"appid", "123"}, {"pause", "true"}})),
       call("aria2.getVersion", json::array())}))[0]["result"];
  json inner = json::array();
  for (const json& options : {json({{"pause", "true"}}), json({{"pause", "true"}, {"appid", "9"}})})
    inner.push_back({{"methodName", "aria2.addUri"}, {"params", new_task("/bytes/9", options)}});
  result("system.multicall", json::array({inner}));
  const json batch = json::array({call("aria2.tellActive", json::array({json::array({"gid"})})),
                                  call("aria2.tellWaiting", {0, 100, {"status", "appid"}}),
                                  call("aria2.tellStatus", {waiting, json::array({"status"})}),
                                  call("aria2.tellStopped", {0, 100})});
  const json expected = {json::array({{{"gid", active}, {"appid", "12"}}}),
                         json::array({{{"status", "paused"}, {"appid", "123"}},
                                      {{"status", "paused"}, {"appid", ""}},
                                      {{"status", "paused"}, {"appid", "9"}}}),
                         {{"status", "paused"}, {"appid", "123"}},
                         json::array()};
  static const struct {
    const char* server;
    const char* signal;
    const char* port;
  } kEnds[] = {{"", "", ""}, {"front", "KILL", "6800"}, {"daemon", "TERM", "16800"}};
  for (const auto& c : kEnds) {
    if (*c.server != '\0') {
      end(c.server, c.signal);
      if (c.server == std::string("daemon")) {
        EXPECT_EQ(502, post("[]").status) << "nobody behind the front";
      }
      start(c.server, c.port);
    }
    while (result("aria2.tellActive", json::array()).size() != 1) usleep(10'000);
    const json got = answer(batch);
    ASSERT_EQ(expected.size(), got.size()) << c.server;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(expected[i], got[i]["result"]) << c.server << i;
  }
}

TEST(BoxDownloads, RemembersAnAppidBesideANameInAnotherCoding) {
  std::string request = call("aria2.addUri", new_task("/bytes/9", {{"out", "NAME"}, {"appid", "7"}})).dump();
  request.replace(request.find("NAME"), 4, "\xb5\xff");
  const json gid = json::parse(post(request).body).at("result");
  for (const json& keys : {json::array(), json::array({"appid", "files"})}) {
    const std::string status = post(call("aria2.tellStatus", {gid, keys}).dump()).body;
    EXPECT_NE(std::string::npos, status.find("\xb5\xff")) << status;
    EXPECT_NE(std::string::npos, status.find("\"appid\":\"7\"")) << status;
  }
}

}  // namespace
