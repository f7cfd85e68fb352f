// The trace as its readers find it, and the names in it.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <thread>

#include "routerbox/trace/peers.h"
#include "routerbox/trace/trace.h"
#include "run.h"

namespace {

using routerbox::Channel;
using routerbox::Descriptor;
using routerbox::Json;
using routerbox::Trace;

class TraceFile : public testing::Test {
 protected:
  TraceFile() { routerbox::write_roster(folder_.root(), {0, {{"weather", "3001", 10000}}}); }

  Json only_line() const { return Json::parse(routerbox::read_file(folder_.path("trace.jsonl"))); }

  const HostFolder folder_;
};

TEST_F(TraceFile, HoldsLongAndForeignTextsWithinBounds) {
  const std::string long_text(5000, 'x');
  const std::string cut = std::string(1000, 'x') + "... (5000 bytes)";
  static const struct {
    const char* why;
    Json details, expected;
  } kCases[] = {
      {"as it is", {{"a", {1, "b"}}}, {{"a", {1, "b"}}}},
      {"long, deep inside", {{"a", {{"b", long_text}}}}, {{"a", {{"b", cut}}}}},
      {"between two bytes of a character",
       {{"a", std::string(999, 'x') + "\xc3\xa9" + "y"}},
       {{"a", std::string(999, 'x') + "... (1002 bytes)"}}},
      {"no text", {{"a", "\xff"}}, {{"a", "\xef\xbf\xbd"}}},
  };
  for (const auto& c : kCases) {
    std::filesystem::remove(folder_.path("trace.jsonl"));
    Trace(folder_.root()).record({Channel::kBus, "a", "b", "c", "0", {}, c.details});
    EXPECT_EQ(c.expected, only_line().at("details")) << c.why;
  }
  std::filesystem::remove(folder_.path("trace.jsonl"));
  Trace(folder_.root())
      .record({Channel::kBus, long_text, "", "", "", {}, Json(Json::array_t(100, long_text))});
  EXPECT_EQ(cut, only_line().at("from"));
  EXPECT_GT(2000U, only_line().at("details").get<std::string>().size());
}

TEST_F(TraceFile, KeepsLinesOfManyWritersWhole) {
  constexpr int kWriters = 4, kLines = 250;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < kWriters; ++writer)
    writers.emplace_back([&] {
      Trace trace(folder_.root());
      for (int i = 0; i < kLines; ++i)
        trace.record({Channel::kLife, std::string(700, 'w'), "", "", "", {}, {}});
    });
  for (std::thread& writer : writers) writer.join();
  std::istringstream lines(routerbox::read_file(folder_.path("trace.jsonl")));
  int whole = 0;
  for (std::string line; std::getline(lines, line);) whole += Json::accept(line) ? 1 : 0;
  EXPECT_EQ(kWriters * kLines, whole);
}

TEST_F(TraceFile, ThatCannotGrowIsReportedOnce) {
  static const struct {
    const char* why;
    const char* link;  // what the trace leads to; null: a file
    off_t limit;
    const char* report;
  } kCases[] = {{"a full disk", "/dev/full", routerbox::kLongestTrace, "No space left on device"},
                {"the limit", nullptr, 300, "limit of 300 bytes"}};
  for (const auto& c : kCases) {
    std::filesystem::remove(folder_.path("trace.jsonl"));
    if (c.link != nullptr) std::filesystem::create_symlink(c.link, folder_.path("trace.jsonl"));
    testing::internal::CaptureStderr();
    Trace trace(folder_.root(), c.limit);
    for (int i = 0; i < 9; ++i) trace.record({Channel::kLife, "a", "b", "c", "d", {}, {}});
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, report.find(c.report)) << c.why << report;
    EXPECT_EQ(1, std::count(report.begin(), report.end(), '\n')) << c.why << report;
  }
}

TEST_F(TraceFile, NamesWhoHoldsTheOtherEnd) {
  static const struct {
    std::optional<uid_t> uid;
    const char* name;
  } kCases[] = {{10000, "weather"}, {10001, "uid 10001"}, {0, "root"}, {std::nullopt, "?"}};
  for (const auto& c : kCases) EXPECT_EQ(c.name, routerbox::name_of(c.uid, folder_.root()));

  const auto loopback = [] { return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); };
  const auto port_of = [](const Descriptor& end) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(end.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  };
  const Descriptor listener = loopback(), client = loopback();
  ASSERT_EQ(0, listen(listener.get(), 1));
  sockaddr_in address{AF_INET, htons(port_of(listener)), {htonl(INADDR_LOOPBACK)}, {}};
  ASSERT_EQ(0, connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  const uint16_t port = port_of(client), server = port_of(listener);
  EXPECT_EQ(getuid(), routerbox::owner_of({"127.0.0.1", "127.0.0.1", port, server}));
  EXPECT_FALSE(routerbox::owner_of({"127.0.0.1", "127.0.0.1", server, port}).has_value()) << "nobody's yet";
}

}  // namespace
