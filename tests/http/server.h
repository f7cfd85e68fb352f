// server.h: an HTTP server that sends exactly the bytes a test gives it.
#ifndef TESTS_HTTP_SERVER_H
#define TESTS_HTTP_SERVER_H

#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "util/owners.h"

namespace test {

enum class End { kClose, kKeep, kReset, kHang };

// What the server does with one request.
struct Answer {
  std::string bytes;
  End end = End::kClose;
  std::chrono::milliseconds each_byte{};  // before every byte; zero sends all at once
  bool before_body = false;               // answers as soon as the request's header is there
};

// Listens on a loopback port, one of its own if it is 0. Connections are served one after the other; the nth request gets the
// nth answer, and the last answer is repeated.
class Server {
 public:
  explicit Server(std::vector<Answer> answers, SSL_CTX* tls = nullptr, unsigned port = 0);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string url(const std::string& host = "127.0.0.1") const;
  std::vector<std::string> requests() const;  // header and body as they came
  size_t connections() const;

 private:
  struct Connection;

  void serve();
  void serve(Connection& connection);
  const Answer& next_answer() const;
  static bool read_request(Connection& connection, bool header_only, std::string& request);
  void note(const std::string& request);

  const std::vector<Answer> answers_;
  SSL_CTX* const tls_;
  zel::Descriptor listening_;
  zel::Descriptor stop_;
  unsigned port_;

  mutable std::mutex guard_;
  std::vector<std::string> requests_;  // guarded by guard_
  size_t connections_ = 0;             // guarded by guard_
  std::thread thread_;
};

// An answer with that status, its body's length, and the body.
std::string answer(const std::string& status, const std::string& body = "");

}  // namespace test

#endif
