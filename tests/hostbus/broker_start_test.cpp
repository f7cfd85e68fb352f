#include "../support/broker_process.h"

namespace {

using namespace test;

class BrokerStart : public BrokerTest {};

TEST_F(BrokerStart, EndsWithStatusZeroOnEitherSignalAndRemovesItsSocket) {
  for (const int signal : {SIGTERM, SIGINT}) {
    BrokerProcess broker(path_);
    RawClient client(path_);
    kill(broker.pid(), SIGHUP);  // its terminal hangs up: no reason to end
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

TEST_F(BrokerStart, LeavesAFileInTheWayAlone) {
  const std::string file = directory_ + "/file";
  std::ofstream(file) << "kept";
  const auto end = BrokerProcess::run({"-s", file});
  EXPECT_EQ(end.status, 1);
  EXPECT_NE(end.printed.find("not a socket: remove it"), std::string::npos) << end.printed;
  EXPECT_EQ(std::filesystem::file_size(file), 4U);
}

}  // namespace
