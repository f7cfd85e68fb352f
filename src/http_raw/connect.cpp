// One request and its response on a connection of its own.
#include <sys/socket.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/handles.h"
#include "base/number.h"
#include "http_raw/head.h"
#include "http_raw/pool_text.h"
#include "http_raw/sockets.h"
#include "mempool/large.h"
#include "mempool/locked.h"

namespace {

using std::string_view;
using zel::Descriptor;
using zel::Memory;
using zel::http::Field;

constexpr int kFirstCapacity = 1024;
constexpr int kOutOfMemory = -1;
constexpr int kNoSocket = -101;
constexpr char kHeadersEnd[] = "\r\n\r\n";

// What was received, terminated.
class ResponseText {
 public:
  [[nodiscard]] bool grow() {
    if (capacity_ > INT_MAX / 2) return false;
    return resize(capacity_ == 0 ? kFirstCapacity : capacity_ * 2);
  }
  int room() const { return capacity_ - length_; }
  char* end() const { return bytes_.get() + length_; }
  void add(int count) {
    length_ += count;
    *end() = '\0';
  }
  // Gives the memory away, without the room that is left.
  Memory<void> release() {
    resize(length_);
    return Memory<void>(bytes_.release());
  }
  const char* text() const { return bytes_.get(); }
  int length() const { return length_; }

 private:
  bool resize(int capacity) {
    auto* const resized = static_cast<char*>(realloc(bytes_.get(), static_cast<size_t>(capacity) + 1));
    if (resized == nullptr) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(resized);
    capacity_ = capacity;
    return true;
  }

  Memory<char> bytes_;
  int capacity_ = 0;
  int length_ = 0;
};

// What the caller's variables hold during the exchange.
struct Earlier {
  const char* response;
  int length;
};

// How a response says where it ends.
class Ending {
 public:
  // Reads the headers once they are all there. False before that; a NUL among them hides their end.
  bool find_head(const ResponseText& received) {
    if (body_at_ != 0) return true;
    // What was searched before is not searched again, however small the pieces are in which the headers come.
    const char* const rest = received.text() + searched_ - std::min(searched_, strlen(kHeadersEnd) - 1);
    const char* const headers_end = strstr(rest, kHeadersEnd);
    if (headers_end == nullptr) {
      searched_ = static_cast<size_t>(rest + strlen(rest) - received.text());
      return false;
    }
    body_at_ = static_cast<int>(headers_end - received.text()) + static_cast<int>(strlen(kHeadersEnd));
    parse_fields({received.text(), static_cast<size_t>(body_at_)});
    return true;
  }

  // Kept: the end of a chunked response is looked for in what the caller's variables hold, so that it usually
  // comes with the close of the connection only.
  bool is_complete(const ResponseText& received, const Earlier& earlier) const {
    if (sized_) return received.length() - body_at_ >= size_;
    return !chunked_ || check_chunk_page_end(earlier.response, earlier.length) == 1;
  }

 private:
  // Of repeated headers the last one counts.
  void parse_fields(string_view response) {
    string_view lines = zel::http::read_head(response)->fields;
    for (Field field; field.take(&lines);) {
      if (field.has_name("Transfer-Encoding")) chunked_ = field.says_chunked();
      if (!field.has_name("Content-Length")) continue;
      sized_ = true;
      size_ = zel::leading_number<int>(field.value());
    }
  }

  size_t searched_ = 0;
  int body_at_ = 0;
  bool sized_ = false;
  int size_ = 0;
  bool chunked_ = false;
};

// As socket_recv. After a full buffer the rest has often come already.
int receive_piece(int fd, int timeout_ms, bool was_full, const ResponseText& received) {
  if (was_full) {
    const int count = zel::http::receive_present(fd, received.end(), received.room());
    if (count != zel::http::kNothingPresent) return count;
  }
  return socket_recv(fd, received.end(), received.room(), timeout_ms);
}

int receive(int fd, int timeout_ms, const Earlier& earlier, ResponseText& received) {
  Ending ending;
  for (;;) {
    const bool was_full = received.length() != 0 && received.room() == 0;
    if (received.room() == 0 && !received.grow()) return kOutOfMemory;
    const int count = receive_piece(fd, timeout_ms, was_full, received);
    if (count < 0) return count - 300;
    if (count == 0) return 0;
    received.add(count);
    // Kept: after a full buffer more is received before the response is looked at.
    if (received.room() != 0 && ending.find_head(received) && ending.is_complete(received, earlier)) return 0;
  }
}

// A long response stays where it is, and becomes a piece of the pool; a copy of a megabyte would take longer
// than its transfer on this machine.
char* keep(mem_pool* pool, ResponseText& received) {
  const auto length = static_cast<size_t>(received.length());
  if (length < pool->max) return zel::http::copy_to(pool, {received.text(), length});
  const zel::mempool::PoolSection section(pool);
  return static_cast<char*>(zel::mempool::adopt_large(pool, received.release()));
}

int exchange(const char* ip, int port, string_view request, int timeout_ms, const Earlier& earlier,
             ResponseText& received) {
  const Descriptor socket(socket_create(AF_INET, SOCK_STREAM | SOCK_NONBLOCK));
  if (!socket) return kNoSocket;
  const int connected = zel::http::connect_non_blocking(socket.get(), ip, port, timeout_ms);
  if (connected != 0) return connected - 100;
  const int sent = socket_send(socket.get(), request.data(), static_cast<int>(request.size()), 0);
  if (sent < 0) return sent - 200;
  return receive(socket.get(), timeout_ms, earlier, received);
}

}  // namespace

int http_connect(mem_pool* pool, const char* ip, int port, const char* request, int request_length,
                 char** response, int* response_length, int timeout_ms) {
  if (pool == nullptr || ip == nullptr || request == nullptr || request_length <= 0 || response == nullptr ||
      response_length == nullptr) {
    return -1;
  }
  ResponseText received;
  const int code = exchange(ip, port, {request, static_cast<size_t>(request_length)}, timeout_ms,
                            {*response, *response_length}, received);
  if (code != 0) return code;
  const int length = received.length();
  char* const kept = keep(pool, received);
  if (kept == nullptr) return kOutOfMemory;
  *response = kept;
  *response_length = length;
  return 0;
}
