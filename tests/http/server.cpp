#include "server.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <system_error>

namespace test {
namespace {

using Tls = std::unique_ptr<SSL, zel::Call<SSL_free>>;

// Whatever proxy the machine uses, tests speak to their own server. Set before there are threads.
[[maybe_unused]] const int no_proxy = setenv("no_proxy", "*", 1);

int checked(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), "test server");
  return result;
}

// A client's end of the connection must not end the test.
void ignore_broken_pipe_in_this_thread() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

}  // namespace

struct Server::Connection {
  zel::Descriptor fd;
  int stop;
  Tls tls;

  // False when the server is to stop first.
  bool readable(std::chrono::milliseconds limit = std::chrono::milliseconds(-1)) const {
    if (tls && SSL_pending(tls.get()) > 0) return true;
    pollfd waiting[] = {{fd.get(), POLLIN, 0}, {stop, POLLIN, 0}};
    return zel::retry([&] { return poll(waiting, 2, static_cast<int>(limit.count())); }) > 0 &&
           waiting[1].revents == 0;
  }

  bool read_some(std::string& to) const {
    char bytes[16384];
    if (!readable()) return false;
    const ssize_t count =
        tls ? SSL_read(tls.get(), bytes, sizeof bytes) : recv(fd.get(), bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    to.append(bytes, static_cast<size_t>(count));
    return true;
  }

  bool write(const char* bytes, size_t size) const {
    while (size > 0) {
      const ssize_t count = tls ? SSL_write(tls.get(), bytes, static_cast<int>(size))
                                : send(fd.get(), bytes, size, MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes += count;
      size -= static_cast<size_t>(count);
    }
    return true;
  }

  // False when the client was gone or the server stopped before the end.
  bool send_answer(const Answer& answer) const {
    if (answer.each_byte.count() == 0) return write(answer.bytes.data(), answer.bytes.size());
    for (const char& byte : answer.bytes) {
      if (readable(answer.each_byte) || !write(&byte, 1)) return false;
    }
    return true;
  }

  void reset() const {
    const linger at_once = {1, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }
};

Server::Server(std::vector<Answer> answers, SSL_CTX* tls, unsigned port)
    : answers_(std::move(answers)),
      tls_(tls),
      listening_(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))),
      stop_(checked(eventfd(0, EFD_CLOEXEC))) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  const int yes = 1;
  setsockopt(listening_.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  checked(bind(listening_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address));
  checked(listen(listening_.get(), 16));
  socklen_t size = sizeof address;
  checked(getsockname(listening_.get(), reinterpret_cast<sockaddr*>(&address), &size));
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

Server::~Server() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
}

std::string Server::url(const std::string& host) const {
  return (tls_ != nullptr ? "https://" : "http://") + host + ":" + std::to_string(port_) + "/path";
}

std::vector<std::string> Server::requests() const {
  const std::lock_guard<std::mutex> lock(guard_);
  return requests_;
}

size_t Server::connections() const {
  const std::lock_guard<std::mutex> lock(guard_);
  return connections_;
}

void Server::serve() {
  ignore_broken_pipe_in_this_thread();
  const Connection door{zel::Descriptor(checked(dup(listening_.get()))), stop_.get(), nullptr};
  while (door.readable()) {
    Connection connection{zel::Descriptor(accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC)),
                          stop_.get(), nullptr};
    const int yes = 1;
    setsockopt(connection.fd.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    {
      const std::lock_guard<std::mutex> lock(guard_);
      ++connections_;
    }
    if (tls_ != nullptr) {
      connection.tls.reset(SSL_new(tls_));
      SSL_set_fd(connection.tls.get(), connection.fd.get());
      if (SSL_accept(connection.tls.get()) != 1) continue;
    }
    serve(connection);
  }
}

void Server::serve(Connection& connection) {
  std::string request;
  for (;;) {
    const Answer& answer = next_answer();
    if (!read_request(connection, answer.before_body, request)) return;
    note(request);
    if (!connection.send_answer(answer)) return;
    if (answer.end == End::kReset) connection.reset();
    if (answer.end == End::kHang) connection.readable();  // until the client goes away
    if (answer.end != End::kKeep) return;
  }
}

const Answer& Server::next_answer() const {
  const std::lock_guard<std::mutex> lock(guard_);
  return answers_[std::min(requests_.size(), answers_.size() - 1)];
}

bool Server::read_request(Connection& connection, bool header_only, std::string& request) {
  request.clear();
  while (request.find("\r\n\r\n") == std::string::npos) {
    if (!connection.read_some(request)) return false;
  }
  if (header_only) return true;
  const size_t body = request.find("\r\n\r\n") + 4;
  const size_t length = request.find("Content-Length: ");
  const size_t size = length < body ? std::stoul(request.substr(length + 16)) : 0;
  while (request.size() < body + size) {
    if (!connection.read_some(request)) return false;
  }
  return true;
}

void Server::note(const std::string& request) {
  const std::lock_guard<std::mutex> lock(guard_);
  requests_.push_back(request);
}

std::string answer(const std::string& status, const std::string& body) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace test
