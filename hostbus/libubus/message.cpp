#include "message.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <cerrno>

namespace hostbus {
namespace {

// Sizes that other clients may get wrong are checked too, although the broker lets them pass.
constexpr std::array<blob_attr_info, UBUS_ATTR_MAX> kAttributeRules = [] {
  std::array<blob_attr_info, UBUS_ATTR_MAX> rules{};
  for (const int id : {UBUS_ATTR_STATUS, UBUS_ATTR_OBJID, UBUS_ATTR_OBJTYPE, UBUS_ATTR_TARGET}) {
    rules[id].type = BLOB_ATTR_INT32;
  }
  for (const int id : {UBUS_ATTR_OBJPATH, UBUS_ATTR_METHOD, UBUS_ATTR_USER, UBUS_ATTR_GROUP}) {
    rules[id].type = BLOB_ATTR_STRING;
  }
  for (const int id : {UBUS_ATTR_ACTIVE, UBUS_ATTR_NO_REPLY}) rules[id].type = BLOB_ATTR_INT8;
  return rules;
}();

// Writes all parts; they are used up.
bool write_all(int fd, iovec* parts, size_t count) {
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = count;
  while (message.msg_iovlen > 0) {
    const ssize_t written = sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      wait_for(fd, POLLOUT, Deadline::never());
      continue;
    }
    if (written < 0) return false;
    auto left = static_cast<size_t>(written);
    while (message.msg_iovlen > 0 && left >= message.msg_iov->iov_len) {
      left -= message.msg_iov->iov_len;
      ++message.msg_iov;
      --message.msg_iovlen;
    }
    if (message.msg_iovlen == 0) break;
    message.msg_iov->iov_base = static_cast<char*>(message.msg_iov->iov_base) + left;
    message.msg_iov->iov_len -= left;
  }
  return true;
}

}  // namespace

Attributes parse_attributes(blob_attr* body) {
  Attributes attributes{};
  blob_parse(body, attributes.data(), kAttributeRules.data(), UBUS_ATTR_MAX);
  return attributes;
}

void Builder::put_contents(ubus_msg_attr id, const blob_attr* message) {
  const void* contents = message == nullptr ? nullptr : blob_data(message);
  const size_t size = message == nullptr ? 0 : blob_len(message);
  note(blob_put(&buf_, id, contents, static_cast<unsigned>(size)) != nullptr);
}

Sent send_frame(int fd, const ubus_msghdr& header, const blob_attr* body) {
  if (body == nullptr || blob_pad_len(body) > UBUS_MAX_MSGLEN) return Sent::kTooLarge;
  ubus_msghdr wire = header;
  wire.seq = cpu_to_be16(header.seq);
  wire.peer = cpu_to_be32(header.peer);
  iovec parts[] = {{.iov_base = &wire, .iov_len = sizeof(wire)},
                   {.iov_base = const_cast<blob_attr*>(body), .iov_len = blob_raw_len(body)}};
  return write_all(fd, parts, ARRAY_SIZE(parts)) ? Sent::kYes : Sent::kBroken;
}

Read FrameReader::next(int fd, const Deadline& limit, Message* message) {
  if (!body_) {
    const Read header = fill(fd, limit, header_.data(), header_.size());
    if (header != Read::kMessage) return header;
    if (!header_is_sound()) return Read::kClosed;
    body_.reset(new (std::nothrow) char[blob_raw_len(outer())]);
    if (!body_) return Read::kClosed;
    memcpy(body_.get(), outer(), sizeof(blob_attr));
    received_ = sizeof(blob_attr);
  }
  const Read body = fill(fd, limit, body_.get(), blob_raw_len(outer()));
  if (body != Read::kMessage) return body;
  const auto* header = reinterpret_cast<const ubus_msghdr*>(header_.data());
  message->type = header->type;
  message->seq = be16_to_cpu(header->seq);
  message->peer = be32_to_cpu(header->peer);
  message->bytes = std::move(body_);
  received_ = 0;
  return Read::kMessage;
}

// Brings the received part up to `size` bytes; kMessage when it is complete.
Read FrameReader::fill(int fd, const Deadline& limit, char* data, size_t size) {
  while (received_ < size) {
    const ssize_t got = recv(fd, data + received_, size - received_, MSG_DONTWAIT);
    if (got > 0) {
      received_ += static_cast<size_t>(got);
      continue;
    }
    if (got < 0 && errno == EINTR) continue;
    if (got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return Read::kClosed;
    if (!body_ && received_ == 0) return Read::kNothing;
    if (!wait_for(fd, POLLIN, limit)) return Read::kNothing;
  }
  return Read::kMessage;
}

bool FrameReader::header_is_sound() const {
  const auto* header = reinterpret_cast<const ubus_msghdr*>(header_.data());
  return header->version == 0 && blob_raw_len(outer()) >= sizeof(blob_attr) &&
         blob_pad_len(outer()) <= UBUS_MAX_MSGLEN;
}

}  // namespace hostbus
