// What comes from the broker before libubus reads it.
#include "bus/frame.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <thread>

#include "base/handles.h"
#include "support/bus_frames.h"

namespace {

using test::ByteString;

ByteString fine() {
  return test::frame(test::kStatus, 7, 0, {});
}

ByteString of_size(size_t body) {
  return test::sized_call(4242, 5000, "send_cmd", body);
}

ByteString with_byte(size_t at, uint8_t value) {
  ByteString bytes = fine();
  bytes[at] = value;
  return bytes;
}

// What libubus finds on the socket: the next frame's type; -1 for the end of the connection, -2 for nothing.
int next_type(int fd) {
  unsigned char head[12];
  const ssize_t count = recv(fd, head, sizeof head, MSG_DONTWAIT);
  return count == sizeof head ? head[1] : count == 0 ? -1 : -2;
}

}  // namespace

TEST(BadFrames, AreTakenOutOrEndTheConnectionBeforeLibubusReadsThem) {
  const ByteString large = of_size(test::kMaxBody + 4);
  const struct {
    const char* why;
    ByteString sent;
    int next;
  } kCases[] = {
      {"nothing", {}, -2},
      {"a frame", fine(), test::kStatus},
      {"a frame of the largest size", of_size(test::kMaxBody), test::kInvoke},
      {"one too large", test::joined({large, fine()}), test::kStatus},
      {"two too large", test::joined({large, large, fine()}), test::kStatus},
      {"one too large that does not come to its end", ByteString(large.begin(), large.end() - 1), -1},
      {"another version", with_byte(0, 1), -1},
      {"shorter than its own length", with_byte(11, 3), -1},
  };
  for (const auto& c : kCases) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const zel::Descriptor ours(ends[0]);
    const zel::Descriptor brokers(ends[1]);
    std::thread broker([&] { send(brokers.get(), c.sent.data(), c.sent.size(), MSG_NOSIGNAL); });
    char first;
    if (!c.sent.empty()) recv(ours.get(), &first, 1, MSG_PEEK);
    zel::clear_bad_frames(ours.get());
    EXPECT_EQ(next_type(ours.get()), c.next) << c.why;
    shutdown(ours.get(), SHUT_RDWR);
    broker.join();
  }
}

TEST(MessageSize, LeavesRoomForWhatTheBrokerAdds) {
  EXPECT_TRUE(zel::may_be_sent(test::kMaxBody - 256));
  EXPECT_FALSE(zel::may_be_sent(test::kMaxBody - 255));
}
