// server.h: an HTTP server that sends exactly the bytes a test gives it, also through TLS.
#pragma once

#include <openssl/ssl.h>
#include <signal.h>
#include <sys/socket.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "base/handles.h"

namespace test {

// Whatever proxy the machine uses, tests speak to their own server. Set before there are threads.
inline const int no_proxy = setenv("no_proxy", "*", 1);

enum class End { kKeep, kClose, kReset, kHang };

// What the server does with one request.
struct Answer {
  std::string bytes;
  End end = End::kKeep;
  std::chrono::milliseconds pause{};  // before every piece; zero sends all at once
  size_t piece = 1;                   // bytes
};

// An answer with that status, its body's length, and the body.
inline std::string answer(const std::string& status, const std::string& body = "") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// Listens on a loopback port, one of its own if it is "0". Connections are served one after the other; the nth
// request gets the nth answer, and the last answer is repeated. Clients close their connections before the server
// goes.
class Server {
 public:
  explicit Server(std::vector<Answer> answers, SSL_CTX* tls = nullptr, const std::string& port = "0")
      : answers_(std::move(answers)),
        url_(tls == nullptr ? "http" : "https"),
        door_(BIO_new_accept(("127.0.0.1:" + port).c_str())) {
    BIO_set_bind_mode(door_.get(), BIO_BIND_REUSEADDR);
    if (tls != nullptr) BIO_set_accept_bios(door_.get(), BIO_new_ssl(tls, 0));
    BIO_do_accept(door_.get());  // the first time it only starts to listen
    url_ += std::string("://127.0.0.1:") + BIO_get_accept_port(door_.get()) + "/path";
    signal(SIGPIPE, SIG_IGN);  // a client that goes must not end the test
    thread_ = std::thread([this] { serve(); });
  }
  ~Server() {
    shutdown(BIO_get_fd(door_.get(), nullptr), SHUT_RDWR);
    thread_.join();
  }

  const char* url() const { return url_.c_str(); }
  int port() const { return atoi(BIO_get_accept_port(door_.get())); }
  // Header and body as they came.
  std::vector<std::string> requests() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return requests_;
  }

 private:
  void serve() {
    while (BIO_do_accept(door_.get()) > 0) {
      const std::unique_ptr<BIO, zel::Call<BIO_free_all>> client(BIO_pop(door_.get()));
      while (serve_request(client.get())) continue;
    }
  }

  // False when the connection is to be closed. libcurl sends a short request at once.
  bool serve_request(BIO* client) {
    char request[16384];
    const int size = BIO_read(client, request, sizeof request);
    if (size <= 0) return false;
    const std::lock_guard<std::mutex> lock(guard_);
    const Answer& answer = answers_[std::min(requests_.size(), answers_.size() - 1)];
    requests_.emplace_back(request, size);
    const size_t piece = answer.pause.count() == 0 ? answer.bytes.size() : answer.piece;
    for (size_t sent = 0; sent < answer.bytes.size(); sent += piece) {
      std::this_thread::sleep_for(answer.pause);
      if (BIO_write(client, &answer.bytes[sent],
                    static_cast<int>(std::min(piece, answer.bytes.size() - sent))) <= 0)
        return false;
    }
    if (answer.end == End::kHang) BIO_read(client, request, sizeof request);  // until the client goes away
    const linger at_once = {answer.end == End::kReset, 0};
    setsockopt(BIO_get_fd(client, nullptr), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    return answer.end == End::kKeep;
  }

  const std::vector<Answer> answers_;
  std::string url_;
  const std::unique_ptr<BIO, zel::Call<BIO_free>> door_;
  mutable std::mutex guard_;
  std::vector<std::string> requests_;  // guarded by guard_
  std::thread thread_;
};

}  // namespace test
