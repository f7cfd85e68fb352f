#include "router.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "support/disk.h"

namespace test {
namespace {

using Clock = std::chrono::steady_clock;

// Takes an answer apart.
void read_answer(const std::string& answer, HttpReply* reply) {
  const size_t head = answer.find("\r\n\r\n");
  const size_t length = answer.find("Content-Length: ");
  if (answer.rfind("HTTP/1.1 ", 0) != 0 || head == std::string::npos || length > head) return;
  reply->status = std::atoi(answer.c_str() + 9);
  reply->head = answer.substr(0, head + 2);
  reply->body = answer.substr(head + 4);
  reply->whole = reply->body.size() == std::strtoul(answer.c_str() + length + 16, nullptr, 10);
}

}  // namespace

zel::Descriptor dial(int port) {
  zel::Descriptor link(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval limit{20, 0};
  setsockopt(link.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(0, connect(link.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  return link;
}

HttpReply http(const std::string& method, const std::string& target, const std::string& body, int port,
               const std::string& headers) {
  const Clock::time_point start = Clock::now();
  const zel::Descriptor link = dial(port);
  const bool chunked = headers.find("chunked") != std::string::npos;
  const std::string length = chunked ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
  const std::string request =
      method + " " + target + " HTTP/1.1\r\nHost: router\r\n" + length + headers + "\r\n" + body;
  // A server that refuses a body need not take all of it.
  size_t sent = 0;
  for (ssize_t count; sent < request.size(); sent += static_cast<size_t>(count))
    if ((count = send(link.get(), request.data() + sent, request.size() - sent, MSG_NOSIGNAL)) <= 0) break;
  HttpReply reply;
  std::string answer;
  char block[65536];
  // The servers close the connection behind every answer.
  for (ssize_t count; (count = read(link.get(), block, sizeof block)) > 0;)
    answer.append(block, static_cast<size_t>(count));
  reply.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  read_answer(answer, &reply);
  return reply;
}

HttpReply ask_router(const std::string& method) {
  return http("GET", "/api?method=" + method);
}

void set_router_fault(const std::string& fault) {
  const HttpReply reply = http("POST", "/box/fault", fault);
  EXPECT_EQ(200, reply.status) << reply.body;
}

void change_router_state(const std::string& patch) {
  const HttpReply reply = http("PATCH", "/box/state", patch);
  EXPECT_EQ(200, reply.status) << reply.body;
}

std::string router_log() {
  return content_of("/var/run/router/requests.log");
}

}  // namespace test
