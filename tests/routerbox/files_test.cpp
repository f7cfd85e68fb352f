// The box's file server as a client that downloads finds it.
#include <gtest/gtest.h>

#include "routerbox/files/content.h"
#include "support/router.h"

namespace {

using test::HttpReply;

constexpr int kPort = 8080;

std::string content(uint64_t begin, uint64_t end) {
  std::string bytes(end - begin, '\0');
  routerbox::files::fill_content(begin, bytes.data(), bytes.size());
  return bytes;
}

TEST(BoxFiles, SendsWhatIsAskedForAndSaysWhatItSends) {
  static const struct {
    const char* target;
    const char* range;
    int status;
    uint64_t begin, end;
    bool whole;
    const char* header;
  } kCases[] = {
      {"/bytes/200000", "", 200, 0, 200000, true, "Content-Length: 200000\r\n"},
      {"/bytes/0", "", 200, 0, 0, true, "Content-Length: 0\r\n"},
      {"/bytes/200000", "70000-", 206, 70000, 200000, true, "Content-Range: bytes 70000-199999/200000\r\n"},
      {"/bytes/10", "3-5", 206, 3, 6, true, "Content-Range: bytes 3-5/10\r\n"},
      {"/bytes/10", "8-9223372036854775807", 206, 8, 10, true, "Content-Range: bytes 8-9/10\r\n"},
      {"/bytes/10", "-3", 206, 7, 10, true, "Content-Range: bytes 7-9/10\r\n"},
      {"/bytes/10", "10-", 416, 0, 0, true, "Content-Range: bytes */10\r\n"},
      {"/bytes/10", "0-1,3-4", 416, 0, 0, true, "Content-Range: bytes */10\r\n"},
      {"/drop/70000/200000", "", 200, 0, 70000, false, "Content-Length: 200000\r\n"},
      {"/drop/70000/200000", "69999-", 206, 69999, 200000, true, "Content-Length: 130001\r\n"},
      {"/redirect/302?to=http%3A%2F%2Fa%3Fb%3Dc", "", 302, 0, 0, true, "Location: http://a?b=c\r\n"},
      {"/files/etc/passwd", "", 404, 0, 0, true, ""},
  };
  for (const auto& c : kCases) {
    const std::string range = *c.range != '\0' ? std::string("Range: bytes=") + c.range + "\r\n" : "";
    const HttpReply reply = test::http("GET", c.target, "", kPort, range);
    EXPECT_EQ(c.status, reply.status) << c.target << c.range;
    EXPECT_EQ(c.whole, reply.whole) << c.target << c.range;
    EXPECT_TRUE(content(c.begin, c.end) == reply.body) << c.target << c.range << reply.body.size();
    EXPECT_NE(std::string::npos, reply.head.find(c.header)) << c.target << c.range << reply.head;
  }
  EXPECT_EQ("HTTP 404\n", test::http("GET", "/status/404", "", kPort).body);
  const HttpReply head = test::http("HEAD", "/bytes/12", "", kPort);
  EXPECT_EQ("", head.body);
  EXPECT_NE(std::string::npos, head.head.find("Content-Length: 12\r\n"));
}

}  // namespace
