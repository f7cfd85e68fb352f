#include "children.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zel/zel.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int echo(const char* message, uint32_t length, char* answer, uint32_t answer_size) {
  std::memcpy(answer, message, std::min(length, answer_size - 1));
  return 0;
}

void serve(const children::Line& line) {
  zel_debug = 0;
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(echo) != 0) return;
  line.tell();
  line.wait();
}

}  // namespace

children::Line::~Line() {
  close(fd_);
}

bool children::Line::tell() const {
  return send(fd_, "", 1, MSG_NOSIGNAL) == 1;
}

bool children::Line::wait() const {
  char byte;
  return recv(fd_, &byte, 1, 0) == 1;
}

children::Child::Child(uid_t uid, const std::function<void(const Line&)>& body) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  std::fflush(nullptr);
  pid_ = fork();
  if (pid_ == -1) std::abort();
  if (pid_ == 0) {
    close(ends[0]);
    if (setuid(uid) != 0) std::abort();
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // After the change of user, which would take it back.
    body(Line(ends[1]));
    _exit(0);
  }
  close(ends[1]);
  line_ = std::make_unique<Line>(ends[0]);
}

children::Child::~Child() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::unique_ptr<children::Child> children::start_server() {
  auto server = std::make_unique<Child>(kServerUid, serve);
  return server->line().wait() ? std::move(server) : nullptr;
}
