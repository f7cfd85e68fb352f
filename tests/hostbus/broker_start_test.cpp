#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;

class BrokerStart : public BrokerTest {};

bool exists(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0;
}

TEST_F(BrokerStart, EndsWithStatusZeroOnEitherSignalAndRemovesItsSocket) {
  for (const int signal : {SIGTERM, SIGINT}) {
    BrokerProcess broker(path_);
    RawClient client(path_);
    ::kill(broker.pid(), SIGHUP);  // its terminal hangs up: no reason to end
    EXPECT_TRUE(client.waiting().empty());
    const auto end = broker.end(signal);
    EXPECT_EQ(end.status, 0) << "signal " << signal;
    EXPECT_EQ(end.printed, "");
    EXPECT_FALSE(exists(path_));
    EXPECT_FALSE(client.receive());
  }
}

TEST_F(BrokerStart, ReplacesASocketThatAKilledBrokerLeftAndLetsEveryUserConnect) {
  broker_.end(SIGKILL);
  ASSERT_TRUE(exists(path_));
  BrokerProcess broker(path_);
  struct stat made {};
  ASSERT_EQ(::stat(path_.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777, 0666U);
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
  const struct {
    const char* why;
    std::vector<std::string> arguments;
    std::string expected;
  } cases[] = {
      {"directory missing", {"-s", directory_ + "/no/bus"}, directory_ + "/no is missing: make it"},
      {"in place of a directory a file", {"-s", file + "/bus"}, "cannot make socket"},
      {"a file in the way", {"-s", file}, "not a socket: remove it"},
      {"path too long", {"-s", "/" + std::string(107, 'x')}, "at most 107 fit: choose a shorter one"},
      {"empty path", {"-s", ""}, "name one with -s"},
      {"path forgotten", {"-s"}, "-s needs a socket path: see hostbusd --help"},
      {"unknown option", {"--no-such"}, "see hostbusd --help"},
      {"stray word", {"bus"}, "unexpected bus: see hostbusd --help"},
  };
  for (const auto& c : cases) {
    const auto end = BrokerProcess::run(c.arguments);
    EXPECT_EQ(end.status, 1) << c.why;
    EXPECT_NE(end.printed.find(c.expected), std::string::npos) << c.why << ": " << end.printed;
    EXPECT_EQ(end.printed.find('\n'), end.printed.size() - 1) << c.why << ": " << end.printed;
  }
  std::string kept;
  std::ifstream(file) >> kept;
  EXPECT_EQ(kept, "kept");
  BrokerProcess longest(directory_ + "/" + std::string(106 - directory_.size(), 'x'));
}

}  // namespace
