// Transfers against servers of every kind.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "server.h"
#include "zel/http.h"

using test::Answer;
using test::answer;
using test::End;
using test::Server;
using namespace std::chrono_literals;

namespace {

constexpr int kTimeout = 1;

struct Outcome {
  int code;
  std::string text;

  bool operator==(const Outcome& other) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.code << " with \"" << outcome.text << '"';
  }
};

enum class Call { kGet, kPost, kPostHttps };
constexpr Call kCalls[] = {Call::kGet, Call::kPost, Call::kPostHttps};

Outcome transfer(Call call, const std::string& url, int max_retry = 1) {
  char result[ZEL_HTTP_RESULT_SIZE] = "untouched";
  const char* const to = url.c_str();
  const int code = call == Call::kGet    ? HttpGet(result, to, kTimeout, max_retry)
                   : call == Call::kPost ? HttpPostBuffer(result, to, "a=b", 3, kTimeout, max_retry)
                                         : HttpsPostBuffer(result, to, "a=b", 3, kTimeout, max_retry);
  return {code, result};
}

Outcome transfer(Call call, const Answer& reply) {
  const Server server({reply});
  return transfer(call, server.url());
}

}  // namespace

TEST(HttpTransfer, OnlyStatus200OfHttp1IsASuccess) {
  const std::string redirect = "HTTP/1.1 302 Found\r\nLocation: /there\r\nContent-Length: 2\r\n\r\nno";
  const struct {
    const char* why;
    Answer answer;
    Outcome get_and_post;
    Outcome post_https;
  } kCases[] = {
      {"success", {answer("200 OK", "yes")}, {0, "yes"}, {0, "yes"}},
      {"success of an older server", {"HTTP/1.0 200 OK\r\n\r\nold"}, {0, "old"}, {0, "old"}},
      {"chunks",
       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\n\r\n"},
       {0, "abc"},
       {0, "abc"}},
      {"created", {answer("201 Created", "new")}, {-1, "new"}, {-1, "new"}},
      {"no content", {"HTTP/1.1 204 No Content\r\n\r\n"}, {-1, ""}, {-1, ""}},
      {"moved", {"HTTP/1.1 301 Moved\r\nLocation: /there\r\n\r\n"}, {-1, ""}, {-1, ""}},
      {"a redirect", {redirect}, {-1, "no"}, {0, "/there"}},
      {"a redirect to nowhere", {answer("302 Found", "no")}, {-1, "no"}, {-1, "no"}},
      {"a client's fault", {answer("404 Not Found", "lost")}, {-1, "lost"}, {-1, "lost"}},
      {"a server's fault", {answer("500 Oops", "dead")}, {-1, "dead"}, {-1, "dead"}},
      {"an interim answer",
       {"HTTP/1.1 100 Continue\r\n\r\n" + answer("200 OK", "yes")},
       {0, "yes"},
       {0, "yes"}},
      {"interim, then a fault",
       {"HTTP/1.1 100 Continue\r\n\r\n" + answer("500 Oops", "dead")},
       {-1, "dead"},
       {-1, "dead"}},
      {"an HTTP/2 status line", {"HTTP/2 200\r\nContent-Length: 1\r\n\r\nx"}, {-1, "x"}, {-1, "x"}},
      {"a NUL ends the text", {answer("200 OK", std::string("ab\0cd", 5))}, {0, "ab"}, {0, "ab"}},
      {"percent signs", {answer("200 OK", "%s%n%d")}, {0, "%s%n%d"}, {0, "%s%n%d"}},
      {"no HTTP", {"what?\r\n\r\n"}, {-1, ""}, {-1, ""}},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(transfer(Call::kGet, c.answer), c.get_and_post) << c.why;
    EXPECT_EQ(transfer(Call::kPost, c.answer), c.get_and_post) << c.why;
    EXPECT_EQ(transfer(Call::kPostHttps, c.answer), c.post_https) << c.why;
  }
}

// Kept: the header alone decides, so the part of a body that came is a success.
TEST(HttpTransfer, AServerThatBreaksOffIsJudgedByTheHeaderThatCame) {
  const std::string started = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n";
  const struct {
    const char* why;
    Answer answer;
    Outcome outcome;
  } kCases[] = {
      {"closed at once", {""}, {-1, ""}},
      {"reset at once", {"", End::kReset}, {-1, ""}},
      {"hangs at once", {"", End::kHang}, {-1, ""}},
      {"closed in the status line", {"HTTP/1.1 2"}, {-1, ""}},
      {"hangs in the status line", {"HTTP/1.1 200 OK", End::kHang}, {-1, ""}},
      {"closed in the body", {started + "part"}, {0, "part"}},
      {"hangs in the body", {started + "part", End::kHang}, {0, "part"}},
      {"trickles in time", {started + "all of it", End::kClose, 1ms}, {0, "all of it"}},
      {"trickles for too long", {answer("200 OK", "x"), End::kClose, 300ms}, {-1, ""}},
  };
  for (const auto& c : kCases) {
    for (const Call call : kCalls) {
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(transfer(call, c.answer), c.outcome) << c.why;
      EXPECT_LT(std::chrono::steady_clock::now() - start, kTimeout * 1s + 3s) << c.why;
    }
  }
}

TEST(HttpTransfer, AnAttemptThatFailedIsRepeatedUpToTheNumberOfAttempts) {
  const Answer bad{answer("500 Oops", "bad"), End::kKeep};
  const Answer created{answer("201 Created", "new"), End::kKeep};
  const Answer good{answer("200 OK", "good"), End::kKeep};
  const struct {
    const char* why;
    std::vector<Answer> answers;
    int max_retry;
    Outcome outcome;
    size_t requests;
  } kCases[] = {
      {"a negative number makes one attempt", {bad, good}, -3, {-1, "bad"}, 1},
      {"0 makes one attempt", {bad, good}, 0, {-1, "bad"}, 1},
      {"1 makes one attempt", {bad, good}, 1, {-1, "bad"}, 1},
      {"success on the last one", {bad, created, good}, 3, {0, "good"}, 3},
      {"success ends them", {good, bad}, 3, {0, "good"}, 1},
      {"all fail, the last body stays", {bad, bad, created}, 3, {-1, "new"}, 3},
      {"closed, reset, then answered", {Answer{}, Answer{"", End::kReset}, good}, 3, {0, "good"}, 3},
      {"a long body leaves nothing in a short one",
       {{answer("500 Oops", "longer")}, good},
       2,
       {0, "good"},
       2},
  };
  for (const auto& c : kCases) {
    for (const Call call : kCalls) {
      const Server server(c.answers);
      EXPECT_EQ(transfer(call, server.url(), c.max_retry), c.outcome) << c.why;
      EXPECT_EQ(server.requests().size(), c.requests) << c.why;
    }
  }
}

TEST(HttpTransfer, AttemptsShareAConnectionThatTheServerKeeps) {
  const Server server({{answer("500 Oops"), End::kKeep}});
  EXPECT_EQ(transfer(Call::kGet, server.url(), 4).code, -1);
  EXPECT_EQ(server.requests().size(), 4U);
  EXPECT_EQ(server.connections(), 1U);
}

TEST(HttpTransfer, TheRequestIsLibcurlsOwnWithTheBytesGiven) {
  const Server server({{answer("200 OK")}});
  char result[ZEL_HTTP_RESULT_SIZE];
  const std::string bytes("a\0b\r\n\xFF", 6);
  ASSERT_EQ(HttpGet(result, server.url().c_str(), kTimeout, 1), 0);
  ASSERT_EQ(HttpPostBuffer(result, server.url().c_str(), bytes.data(), 6, kTimeout, 1), 0);
  ASSERT_EQ(HttpsPostBuffer(result, server.url().c_str(), bytes.data(), 3, kTimeout, 1), 0);
  const std::string host =
      "Host: " + server.url().substr(7, server.url().size() - 12) + "\r\nAccept: */*\r\n";
  const std::string type = "Content-Type: application/x-www-form-urlencoded\r\n\r\n";
  const std::vector<std::string> wanted = {
      "GET /path HTTP/1.1\r\n" + host + "\r\n",
      "POST /path HTTP/1.1\r\n" + host + "Content-Length: 6\r\n" + type + bytes,
      "POST /path HTTP/1.1\r\n" + host + "Content-Length: 3\r\n" + type + bytes.substr(0, 3)};
  EXPECT_EQ(server.requests(), wanted);
}

TEST(HttpTransfer, RefusedArgumentsMakeNoRequestAndLeaveTheResult) {
  const Server server({{answer("200 OK", "new")}});
  const std::string url = server.url();
  const char* const none = nullptr;
  char result[ZEL_HTTP_RESULT_SIZE] = "untouched";
  const int codes[] = {
      HttpGet(nullptr, url.c_str(), kTimeout, 1),
      HttpPostBuffer(nullptr, url.c_str(), "x", 1, kTimeout, 1),
      HttpsPostBuffer(nullptr, url.c_str(), "x", 1, kTimeout, 1),
      HttpGet(result, none, kTimeout, 1),
      HttpPostBuffer(result, none, "x", 1, kTimeout, 1),
      HttpsPostBuffer(result, none, "x", 1, kTimeout, 1),
      HttpPostBuffer(result, url.c_str(), "x", 0, kTimeout, 1),
      HttpPostBuffer(result, url.c_str(), none, 1, kTimeout, 1),
      HttpsPostBuffer(result, url.c_str(), "x", 0, kTimeout, 1),
      HttpsPostBuffer(result, url.c_str(), none, 1, kTimeout, 1),
  };
  for (const int code : codes) EXPECT_EQ(code, -1);
  EXPECT_STREQ(result, "untouched");
  EXPECT_EQ(server.connections(), 0U);
}

TEST(HttpTransfer, WhatLibcurlRefusesFailsWithAnEmptyResult) {
  const Server server({{answer("200 OK", "new")}});
  const std::string unusable[] = {"", "http://", "nowhere://127.0.0.1/", "http://127.0.0.1:1/",
                                  server.url() + std::string(8 << 20, 'x')};
  for (const std::string& url : unusable) {
    for (const Call call : kCalls) EXPECT_EQ(transfer(call, url, 2), (Outcome{-1, ""})) << url.substr(0, 40);
  }
  char result[ZEL_HTTP_RESULT_SIZE] = "untouched";
  EXPECT_EQ(HttpPostBuffer(result, server.url().c_str(), "x", 1, -1, 1), -1) << "a negative time";
  EXPECT_STREQ(result, "");
  EXPECT_EQ(server.connections(), 0U);
}

TEST(HttpTransfer, ThreadsTransferAtTheSameTime) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number] {
      const std::string text = std::to_string(number);
      const Server server({{answer("200 OK", text), End::kKeep}});
      for (int time = 0; time < 10; ++time) {
        for (const Call call : kCalls) EXPECT_EQ(transfer(call, server.url()), (Outcome{0, text}));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}
