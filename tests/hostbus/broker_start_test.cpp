#include "../support/broker_process.h"

namespace {

using namespace test;

class BrokerStart : public BrokerTest {};

TEST_F(BrokerStart, EndsWithStatusZeroOnEitherSignalAndRemovesItsSocket) {
  for (const int signal : {SIGTERM, SIGINT}) {
    BrokerProcess broker(path_);
    RawClient client(path_);
    ::kill(broker.pid(), SIGHUP);  // its terminal hangs up: no reason to end
    EXPECT_TRUE(client.waiting().empty());
    const auto end = broker.end(signal);
    EXPECT_EQ(end.status, 0) << "signal " << signal;
    EXPECT_EQ(end.printed, "");
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_FALSE(client.receive());
  }
}

TEST_F(BrokerStart, ReplacesASocketThatAKilledBrokerLeftAndLetsEveryUserConnect) {
  broker_.end(SIGKILL);
  ASSERT_TRUE(std::filesystem::exists(path_));
  BrokerProcess broker(path_);
  EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms{0666});
}

TEST_F(BrokerStart, ASecondBrokerTakesThePathAndTheEndOfTheFirstLeavesItThere) {
  RawClient early(path_);
  BrokerProcess second(path_);
  EXPECT_TRUE(early.waiting().empty()) << "clients of the first one stay with it";
  EXPECT_EQ(broker_.end(SIGTERM).status, 0);
  EXPECT_TRUE(RawClient(path_).waiting().empty());
}

TEST_F(BrokerStart, SaysInOneLineWhatToDoWhenItCannotStart) {
  const std::string file = directory_ + "/file";
  std::ofstream(file) << "kept";
  const std::tuple<const char*, std::vector<std::string>, std::string> rows[] = {
      {"directory missing", {"-s", directory_ + "/no/bus"}, directory_ + "/no is missing: make it"},
      {"a file in the way", {"-s", file}, "not a socket: remove it"},
      {"path too long", {"-s", "/" + std::string(107, 'x')}, "at most 107 fit: choose a shorter one"},
      {"unknown option", {"--no-such"}, "see hostbusd --help"},
      {"stray word", {"bus"}, "unexpected bus: see hostbusd --help"},
  };
  for (const auto& [why, arguments, expected] : rows) {
    const auto end = BrokerProcess::run(arguments);
    EXPECT_EQ(end.status, 1) << why;
    EXPECT_NE(end.printed.find(expected), std::string::npos) << why << ": " << end.printed;
    EXPECT_EQ(end.printed.find('\n'), end.printed.size() - 1) << why << ": " << end.printed;
  }
  std::string kept;
  std::ifstream(file) >> kept;
  EXPECT_EQ(kept, "kept");
}

}  // namespace
