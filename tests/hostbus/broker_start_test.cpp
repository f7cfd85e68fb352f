#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;

bool exists(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0;
}

TEST(BrokerStart, EndsWithStatusZeroOnEitherSignalAndRemovesItsSocket) {
  for (const int signal : {SIGTERM, SIGINT}) {
    const ScratchDirectory directory;
    const std::string path = directory / "bus";
    auto broker = BrokerProcess::listening(path);
    RawClient client(path);
    broker.kill(signal);
    const auto end = broker.wait();
    EXPECT_EQ(end.status, 0) << "signal " << signal;
    EXPECT_EQ(end.printed, "");
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(client.at_end());
  }
}

TEST(BrokerStart, LivesOnWhenItsTerminalHangsUp) {
  const ScratchDirectory directory;
  auto broker = BrokerProcess::listening(directory / "bus");
  broker.kill(SIGHUP);
  RawClient client(directory / "bus");
  EXPECT_TRUE(client.ping());
}

TEST(BrokerStart, ReplacesASocketThatAKilledBrokerLeftAndLetsEveryUserConnect) {
  const ScratchDirectory directory;
  const std::string path = directory / "bus";
  {
    auto killed = BrokerProcess::listening(path);
    killed.kill(SIGKILL);
    EXPECT_EQ(killed.wait().status, 128 + SIGKILL);
  }
  ASSERT_TRUE(exists(path));
  auto broker = BrokerProcess::listening(path);
  struct stat made {};
  ASSERT_EQ(::stat(path.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777, 0666U);
  RawClient client(path);
  EXPECT_TRUE(client.ping());
}

TEST(BrokerStart, ASecondBrokerTakesThePathAndTheEndOfTheFirstLeavesItThere) {
  const ScratchDirectory directory;
  const std::string path = directory / "bus";
  auto first = BrokerProcess::listening(path);
  RawClient early(path);
  auto second = BrokerProcess::listening(path);
  EXPECT_TRUE(early.ping()) << "clients of the first one stay with it";
  first.kill(SIGTERM);
  EXPECT_EQ(first.wait().status, 0);
  RawClient late(path);
  EXPECT_TRUE(late.ping());
  second.kill(SIGTERM);
  EXPECT_EQ(second.wait().status, 0);
  EXPECT_FALSE(exists(path));
}

TEST(BrokerStart, SaysInOneLineWhatToDoWhenItCannotStart) {
  const ScratchDirectory directory;
  const std::string file = directory / "file";
  std::ofstream(file) << "kept";
  const struct {
    const char* why;
    std::vector<std::string> arguments;
    std::string expected;
  } cases[] = {
      {"directory missing",
       {"-s", directory / "no/bus"},
       "directory " + (directory / "no") + " is missing: make it"},
      {"in place of a directory a file", {"-s", file + "/bus"}, "cannot make socket"},
      {"a file in the way", {"-s", file}, "not a socket: remove it"},
      {"path too long", {"-s", "/" + std::string(108, 'x')}, "at most 107 fit: choose a shorter one"},
      {"empty path", {"-s", ""}, "name one with -s"},
      {"path forgotten", {"-s"}, "-s needs a socket path: see hostbusd --help"},
      {"unknown option", {"--no-such"}, "see hostbusd --help"},
      {"stray word", {"bus"}, "unexpected bus: see hostbusd --help"},
  };
  for (const auto& c : cases) {
    const auto end = BrokerProcess(c.arguments).wait();
    EXPECT_EQ(end.status, 1) << c.why;
    EXPECT_EQ(end.printed.rfind("hostbusd: ", 0), 0U) << c.why << ": " << end.printed;
    EXPECT_NE(end.printed.find(c.expected), std::string::npos) << c.why << ": " << end.printed;
    EXPECT_EQ(std::count(end.printed.begin(), end.printed.end(), '\n'), 1) << c.why << ": " << end.printed;
  }
  std::string kept;
  std::ifstream(file) >> kept;
  EXPECT_EQ(kept, "kept");
}

TEST(BrokerStart, LongestPathThatFitsIsServed) {
  const ScratchDirectory directory;
  std::string path = directory / "";
  path += std::string(107 - path.size(), 'x');
  auto broker = BrokerProcess::listening(path);
  EXPECT_TRUE(RawClient(path).ping());
}

TEST(BrokerStart, HelpNamesTheOptionAndTheDefaultSocket) {
  const auto end = BrokerProcess({"--help"}).wait();
  EXPECT_EQ(end.status, 0);
  EXPECT_NE(end.printed.find("-s PATH"), std::string::npos);
  EXPECT_NE(end.printed.find("/var/run/ubus/ubus.sock"), std::string::npos);
}

}  // namespace
