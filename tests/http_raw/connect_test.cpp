// The client on plain sockets against servers of every kind. The program's own connect takes the place of the
// system's, to stand for a network on which peers are far away.
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <zel/http_raw.h>
#include "support/cancelled.h"
#include "support/cases.h"
#include "support/http_server.h"
#include "support/pool.h"

using namespace test;
using namespace std::chrono_literals;
using zel::Descriptor;

namespace {

constexpr int kShort = 40;   // ms; for time-outs that come
constexpr int kLong = 5000;  // ms; for those that do not
constexpr char kHere[] = "127.0.0.1";

bool far_away = false;

// The response, or the failure's code.
std::string exchange(int port, int timeout_ms) {
  const Pool pool = new_pool();
  char* response = nullptr;
  int length = 0;
  const int code = http_connect(pool.get(), kHere, port, "GET", 3, &response, &length, timeout_ms);
  EXPECT_EQ(response != nullptr, code == 0);
  return code == 0 ? std::string(response, response + length) : std::to_string(code);
}

Descriptor listening(int backlog, int* port) {
  Descriptor door(socket_create(AF_INET, SOCK_STREAM));
  listen(door.get(), backlog);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(door.get(), reinterpret_cast<sockaddr*>(&address), &size);
  *port = ntohs(address.sin_port);
  return door;
}

// A port whose queue is full, so that connections to it stay unanswered.
std::vector<Descriptor> silent(int* port) {
  std::vector<Descriptor> held;
  held.push_back(listening(0, port));
  do held.emplace_back(socket_create(AF_INET, SOCK_STREAM));
  while (socket_connect(held.back().get(), kHere, *port, kShort) == 0);
  return held;
}

// The two ends of a TCP connection.
struct Connection {
  Connection() {
    int port;
    const Descriptor door = listening(1, &port);
    EXPECT_EQ(socket_connect(here.get(), kHere, port, kLong), 0);
    there = Descriptor(accept(door.get(), nullptr, nullptr));
  }
  Descriptor here{socket_create(AF_INET, SOCK_STREAM)};
  Descriptor there;
};

std::string sized(const std::string& length, size_t total) {
  std::string text = "HTTP/1.1 200 OK\r\ncontent-length:" + length + "\r\n\r\n";
  return text.append(total > text.size() ? total - text.size() : 0, 'x');
}

}  // namespace

// From far away no answer is there yet when a connection is looked at again.
int connect(int fd, const sockaddr* address, socklen_t size) {
  static int begun = -1;
  static void* const real = dlsym(RTLD_NEXT, "connect");
  const bool again = begun == fd;
  begun = far_away && !again ? fd : -1;
  errno = EALREADY;
  if (again) return -1;
  return reinterpret_cast<decltype(connect)*>(real)(fd, address, size);
}

TEST(HttpConnect, EndsWhereTheHeadersSayAndNotAtAFullBuffer) {
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n";
  const Rows<Answer, int> kCases = {
      {"one byte at a time", {answer("200 OK", "12345"), End::kHang, 1ms}, 0},
      {"full at the end of many pieces", {sized("2008", 2048), End::kClose, 1ms, 300}, 0},
      {"a megabyte", {answer("200 OK", std::string(1 << 20, 'x')), End::kHang}, 0},
      {"repeated", {sized("99\r\nContent-Length: 1", 90), End::kHang}, 0},
      {"repeated too", {"HTTP\r\nTransfer-Encoding:chunked\r\nTransfer-Encoding:x\r\n\r\n", End::kHang}, 0},
      {"a NUL before the headers' end", {std::string("HTTP\0\r\n\r\nbody", 13), End::kClose, 1ms}, 0},
      {"no value", {sized("", 0), End::kHang}, 0},
      {"negative", {sized("-9", 0), End::kHang}, 0},
      {"huge", {sized("99999999999999999999", 90), End::kHang}, -303},
      {"closed in the body", {sized("100", 90), End::kClose}, 0},
      {"silent in the body", {sized("100", 90), End::kHang}, -303},
      {"neither", {"HTTP/1.1 200 OK\r\nA: b\r\n\r\nbody", End::kHang}, 0},
      {"chunked, closed", {chunked, End::kClose}, 0},
      {"chunked, silent", {chunked, End::kHang}, -303},
      {"length before chunked", {sized("0\r\nTransfer-Encoding:chunked", 0), End::kHang}, 0},
      {"closed at once", {"", End::kClose}, 0},
      {"reset", {"", End::kReset}, -311},
      {"full, silent", {sized("1", 1024), End::kHang}, -303},
      {"one more than full", {sized("1", 1025), End::kHang}, 0},
      {"full a third time", {sized("1", 4096), End::kHang}, -303}};
  for (const auto& [why, answered, code] : kCases) {
    const Server server({answered});
    const std::string response = exchange(server.port(), code == -303 ? kShort : kLong);
    EXPECT_TRUE(response == (code == 0 ? answered.bytes : std::to_string(code))) << why;
  }

  // A chunked response ends with the chunks that the caller's variables hold.
  const Pool pool = new_pool();
  const Server server({{chunked, End::kHang}});
  char earlier[] = "0\r\n\r\n", *response = earlier;
  int length = 5;
  EXPECT_EQ(http_connect(pool.get(), kHere, server.port(), "x", 1, &response, &length, kLong), 0);
  EXPECT_EQ(response, chunked);
}

TEST(HttpConnect, EachStepThatFailsHasItsCode) {
  int port;
  listening(1, &port);  // and closed
  EXPECT_EQ(exchange(port, kLong), std::to_string(ECONNREFUSED - 200));
  far_away = true;
  // The emulator hands out the host's number of a socket's error, 111.
  const std::string refused = exchange(port, kLong);
  EXPECT_TRUE(refused == std::to_string(ECONNREFUSED - 200) || (*TEST_EMULATOR != '\0' && refused == "-89"));
  EXPECT_EQ(exchange(Server({{answer("200 OK")}}).port(), kLong), answer("200 OK"));
  EXPECT_EQ(exchange(port, -1), "-103");
  const auto full = silent(&port);
  EXPECT_EQ(exchange(port, kShort), "-99");
  const Pool pool = new_pool();
  char* response = nullptr;
  int length = 0;
  EXPECT_EQ(http_connect(pool.get(), "no address", port, "x", 1, &response, &length, kLong), -102);
  EXPECT_EQ(http_connect(pool.get(), kHere, port, "x", -1, &response, &length, kLong), -1);
}

TEST(HttpConnect, OfACancelledThreadGivesTheSocketBackThatWasConnecting) {
  SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED();
  int silent_port;
  const auto full = silent(&silent_port);
  const auto before = open_descriptors();
  EXPECT_TRUE(
      ends_cancelled([&] { exchange(silent_port, kLong); }, [&] { return open_descriptors() > before; }));
  EXPECT_EQ(open_descriptors(), before);
}

TEST(HttpSockets, ReceiveWithinATime) {
  Connection tcp;
  char buffer[8];
  const int fd = tcp.here.get();
  for (const auto receive : {socket_recv, socket_recv2}) {
    EXPECT_EQ(receive(fd, buffer, -1, kShort), -1);
    EXPECT_EQ(receive(fd, buffer, 8, 0), receive == socket_recv ? -4 : 0);
    EXPECT_EQ(receive(fd, buffer, 8, -1), -2);
    EXPECT_EQ(receive(fd, buffer, 8, kShort), -3);
    socket_send(tcp.there.get(), "ab", 2, 0);
    EXPECT_EQ(receive(fd, buffer, 8, kShort), receive == socket_recv ? 2 : -3);
    socket_send(tcp.there.get(), "!", 1, MSG_OOB);
    EXPECT_EQ(receive(fd, buffer, 8, kLong), -4);
    EXPECT_EQ(recv(fd, buffer, 1, MSG_OOB), 1);
  }
  std::thread pieces([&] {
    for (const int size : {1, 1, 2}) socket_send(tcp.there.get(), "ab", size, 0);
  });
  EXPECT_EQ(socket_recv2(fd, buffer, 3, kLong), 3);
  pieces.join();
  tcp.there = {};
  EXPECT_EQ(socket_recv2(fd, buffer, 3, kLong), -10);
  EXPECT_EQ(socket_recv(fd, buffer, 3, kLong), 0);
}

TEST(HttpSockets, ASignalEndsTheWaitForAConnectionButNotForData) {
  int port;
  const auto full = silent(&port);
  Connection tcp;
  char buffer[8];
  signal(SIGALRM, [](int) {});
  const itimerval often = {{0, 5000}, {0, 5000}};  // us
  setitimer(ITIMER_REAL, &often, nullptr);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(socket_recv(tcp.here.get(), buffer, 8, kShort), -3);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kShort));
  EXPECT_EQ(exchange(port, kLong), "-103");
}

TEST(HttpSockets, ASendToAClosedPeerFailsWithoutASignal) {
  Connection tcp;
  tcp.there = {};
  while (socket_send(tcp.here.get(), "x", 1, 0) == 1) continue;  // until the peer's reset is here
  EXPECT_EQ(errno, EPIPE);
}

TEST(HttpSockets, DescriptorsTooLargeForSelectFail) {
  const Server server({{"", End::kHang}});
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  while (dup(0) < FD_SETSIZE) continue;
  EXPECT_EQ(exchange(server.port(), kShort), "-103");
  char buffer[8];
  const Descriptor large(socket_create(AF_INET, SOCK_STREAM));
  ASSERT_GE(large.get(), FD_SETSIZE);
  EXPECT_EQ(socket_recv(large.get(), buffer, 8, kShort), -2);
}
