#include "fake_broker.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace fake {
namespace {

constexpr int kLimitMs = 10000;
constexpr size_t kHeaderSize = 8;

bool wait_until_ready(int fd, short events) {
  pollfd polled{.fd = fd, .events = events, .revents = 0};
  return poll(&polled, 1, kLimitMs) > 0;
}

const blob_attr* outer(const Bytes& frame) {
  return reinterpret_cast<const blob_attr*>(frame.data() + kHeaderSize);
}

}  // namespace

Bytes frame(int type, uint16_t seq, uint32_t peer, const std::function<void(blob_buf*)>& fill) {
  Message message;
  if (fill) fill(message);
  const ubus_msghdr header{
      .version = 0, .type = static_cast<uint8_t>(type), .seq = cpu_to_be16(seq), .peer = cpu_to_be32(peer)};
  Bytes bytes(sizeof header + blob_raw_len(message.head()));
  std::memcpy(bytes.data(), &header, sizeof header);
  std::memcpy(bytes.data() + sizeof header, message.head(), bytes.size() - sizeof header);
  return bytes;
}

Bytes status(const Bytes& request, int code) {
  return frame(UBUS_MSG_STATUS, seq_of(request), peer_of(request),
               [&](blob_buf* b) { blob_put_u32(b, UBUS_ATTR_STATUS, static_cast<uint32_t>(code)); });
}

Bytes data(const Bytes& request, const std::function<void(blob_buf*)>& fill) {
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
  return frame.size() > 1 ? frame[1] : -1;
}

uint16_t seq_of(const Bytes& frame) {
  return static_cast<uint16_t>(frame.at(2) << 8 | frame.at(3));
}

uint32_t peer_of(const Bytes& frame) {
  return static_cast<uint32_t>(frame.at(4)) << 24 | static_cast<uint32_t>(frame.at(5)) << 16 |
         static_cast<uint32_t>(frame.at(6)) << 8 | frame.at(7);
}

uint32_t number_of(const Bytes& frame, int id) {
  blob_attr* attr = nullptr;
  size_t rem = 0;
  blob_for_each_attr(attr, outer(frame), rem) {
    if (static_cast<int>(blob_id(attr)) == id && blob_len(attr) == 4) return blob_get_u32(attr);
  }
  return UINT32_MAX;
}

Bytes operator+(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Broker::Broker(Script script, Bytes greeting) : greeting_(std::move(greeting)) {
  char folder[] = "/tmp/fake_broker.XXXXXX";
  folder_ = mkdtemp(folder);
  path_ = folder_ + "/bus";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
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
  if (!read_exactly(reinterpret_cast<char*>(bytes.data()), bytes.size())) return {};
  const size_t had = bytes.size();
  bytes.resize(kHeaderSize + blob_raw_len(outer(bytes)));
  if (!read_exactly(reinterpret_cast<char*>(bytes.data()) + had, bytes.size() - had)) return {};
  return bytes;
}

bool Broker::read_exactly(char* to, size_t size) {
  while (size > 0) {
    if (client_ < 0) return false;
    if (!wait_until_ready(client_, POLLIN)) {
      ADD_FAILURE() << "the client sent nothing within ten seconds";
      return false;
    }
    const ssize_t got = recv(client_, to, size, 0);
    if (got <= 0) return false;
    to += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

void Broker::write(const Bytes& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    if (!wait_until_ready(client_, POLLOUT)) {
      ADD_FAILURE() << "the client read nothing within ten seconds";
      return;
    }
    const ssize_t now = send(client_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (now <= 0) return;
    sent += static_cast<size_t>(now);
  }
}

void Broker::hang_up() {
  if (client_ >= 0) close(std::exchange(client_, -1));
}

void Broker::accept_client() {
  hang_up();
  if (!wait_until_ready(listener_, POLLIN)) {
    ADD_FAILURE() << "nobody connected within ten seconds";
    return;
  }
  client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  write(greeting_);
}

Bytes Broker::answer_add(uint32_t object) {
  const Bytes request = read();
  EXPECT_EQ(type_of(request), UBUS_MSG_ADD_OBJECT);
  write(data(request, [&](blob_buf* b) { blob_put_u32(b, UBUS_ATTR_OBJID, object); }) + status(request, 0));
  return request;
}

Context connect(const Broker& broker) {
  return {ubus_connect(broker.path().c_str()), ubus_free};
}

bool wait_input(ubus_context* ctx) {
  return wait_until_ready(ctx->sock.fd, POLLIN);
}

}  // namespace fake
