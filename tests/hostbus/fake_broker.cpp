#include "fake_broker.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace fake {
namespace {

constexpr timeval kLimit{.tv_sec = 10, .tv_usec = 0};
constexpr size_t kHeaderSize = sizeof(ubus_msghdr);

ubus_msghdr header_of(const Bytes& frame) {
  ubus_msghdr header{};
  std::memcpy(&header, frame.data(), std::min(frame.size(), kHeaderSize));
  return header;
}

const blob_attr* outer(const Bytes& frame) {
  return reinterpret_cast<const blob_attr*>(frame.data() + kHeaderSize);
}

}  // namespace

Bytes frame(int type, uint16_t seq, uint32_t peer, const Fill& fill) {
  Message message;
  if (fill) fill(message);
  const ubus_msghdr header{
      .version = 0, .type = static_cast<uint8_t>(type), .seq = cpu_to_be16(seq), .peer = cpu_to_be32(peer)};
  Bytes bytes(kHeaderSize + blob_raw_len(message.head()));
  std::memcpy(bytes.data(), &header, kHeaderSize);
  std::memcpy(bytes.data() + kHeaderSize, message.head(), bytes.size() - kHeaderSize);
  return bytes;
}

Bytes status(const Bytes& request, int code) {
  return frame(UBUS_MSG_STATUS, seq_of(request), peer_of(request),
               [&](blob_buf* b) { blob_put_u32(b, UBUS_ATTR_STATUS, static_cast<uint32_t>(code)); });
}

Bytes data(const Bytes& request, const Fill& fill) {
  return frame(UBUS_MSG_DATA, seq_of(request), peer_of(request), fill);
}

Bytes invoke(uint16_t seq, uint32_t caller, uint32_t object, const char* method) {
  return frame(UBUS_MSG_INVOKE, seq, caller, [&](blob_buf* b) {
    blob_put_u32(b, UBUS_ATTR_OBJID, object);
    blob_put_string(b, UBUS_ATTR_METHOD, method);
    blob_put(b, UBUS_ATTR_DATA, nullptr, 0);
  });
}

int type_of(const Bytes& frame) {
  return frame.empty() ? -1 : header_of(frame).type;
}

uint16_t seq_of(const Bytes& frame) {
  return be16_to_cpu(header_of(frame).seq);
}

uint32_t peer_of(const Bytes& frame) {
  return be32_to_cpu(header_of(frame).peer);
}

Bytes operator+(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Broker::Broker(Script script, Bytes greeting) : greeting_(std::move(greeting)) {
  char folder[] = "/tmp/fake_broker.XXXXXX";
  folder_ = mkdtemp(folder);
  path_ = folder_ + "/bus";
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &kLimit, sizeof(kLimit)), 0);
  EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(listen(listener_, 8), 0);
  thread_ = std::thread([this, script = std::move(script)] {
    accept_client();
    script(*this);
  });
}

Broker::~Broker() {
  finish();
  hang_up();
  close(listener_);
  unlink(path_.c_str());
  rmdir(folder_.c_str());
}

void Broker::finish() {
  if (thread_.joinable()) thread_.join();
}

Bytes Broker::read() {
  Bytes bytes(kHeaderSize + sizeof(blob_attr));
  if (!receive(bytes.data(), bytes.size())) return {};
  const size_t had = bytes.size();
  bytes.resize(kHeaderSize + blob_raw_len(outer(bytes)));
  return receive(bytes.data() + had, bytes.size() - had) ? bytes : Bytes();
}

bool Broker::receive(uint8_t* to, size_t size) {
  if (size == 0) return true;
  const ssize_t got = recv(client_, to, size, MSG_WAITALL);
  EXPECT_FALSE(got < 0 && errno == EAGAIN) << "the client sent nothing within ten seconds";
  return got == static_cast<ssize_t>(size);
}

void Broker::write(const Bytes& bytes) {
  const ssize_t sent = send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  EXPECT_FALSE(sent < 0 && errno == EAGAIN) << "the client read nothing within ten seconds";
}

void Broker::hang_up() {
  if (client_ >= 0) close(std::exchange(client_, -1));
}

void Broker::accept_client() {
  client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  EXPECT_GE(client_, 0) << "nobody connected within ten seconds";
  for (const int side : {SO_RCVTIMEO, SO_SNDTIMEO})
    setsockopt(client_, SOL_SOCKET, side, &kLimit, sizeof(kLimit));
  write(greeting_);
}

Context connect(const Broker& broker) {
  return {ubus_connect(broker.path().c_str()), ubus_free};
}

bool wait_input(ubus_context* ctx) {
  pollfd polled{.fd = ctx->sock.fd, .events = POLLIN, .revents = 0};
  return poll(&polled, 1, 10000) > 0;
}

}  // namespace fake
