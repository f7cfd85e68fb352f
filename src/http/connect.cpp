// One request and its response on a connection of its own.
#include <sys/socket.h>

#include <climits>
#include <cstring>

#include "http/head.h"
#include "http/number.h"
#include "http/pool_text.h"
#include "util/owners.h"

namespace {

using std::string_view;
using zel::Descriptor;
using zel::Memory;
using zel::http::Field;

constexpr int kFirstCapacity = 1024;
constexpr int kOutOfMemory = -1;
constexpr char kHeadersEnd[] = "\r\n\r\n";

// What was received, terminated.
class Received {
 public:
  bool grow() {
    if (capacity_ > INT_MAX / 2) return false;
    const int capacity = capacity_ == 0 ? kFirstCapacity : capacity_ * 2;
    auto* const larger = static_cast<char*>(realloc(bytes_.get(), static_cast<size_t>(capacity) + 1));
    if (larger == nullptr) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(larger);
    capacity_ = capacity;
    return true;
  }
  int room() const { return capacity_ - length_; }
  char* end() const { return bytes_.get() + length_; }
  void add(int count) {
    length_ += count;
    *end() = '\0';
  }
  const char* text() const { return bytes_.get(); }
  int length() const { return length_; }

 private:
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
  bool known(const Received& received) {
    if (body_at_ != 0) return true;
    const char* const headers_end = strstr(received.text(), kHeadersEnd);
    if (headers_end == nullptr) return false;
    body_at_ = static_cast<int>(headers_end - received.text()) + static_cast<int>(strlen(kHeadersEnd));
    read({received.text(), static_cast<size_t>(body_at_)});
    return true;
  }

  // Kept: the end of a chunked response is looked for in what the caller's variables hold, so that it usually
  // comes with the close of the connection only.
  bool reached(const Received& received, const Earlier& earlier) const {
    if (sized_) return received.length() - body_at_ >= size_;
    return !chunked_ || check_chunk_page_end(earlier.response, earlier.length) == 1;
  }

 private:
  // Of repeated headers the last one counts.
  void read(string_view response) {
    string_view lines = zel::http::read_head(response)->fields;
    for (Field field; field.take(&lines);) {
      if (field.has_name("Transfer-Encoding")) chunked_ = field.says_chunked();
      if (!field.has_name("Content-Length")) continue;
      sized_ = true;
      size_ = zel::http::decimal(field.value());
    }
  }

  int body_at_ = 0;
  bool sized_ = false;
  int size_ = 0;
  bool chunked_ = false;
};

int receive(int fd, int timeout_ms, const Earlier& earlier, Received& received) {
  Ending ending;
  for (;;) {
    if (received.room() == 0 && !received.grow()) return kOutOfMemory;
    const int room = received.room();
    const int count = socket_recv(fd, received.end(), room, timeout_ms);
    if (count < 0) return count - 300;
    if (count == 0) return 0;
    received.add(count);
    // Kept: after a full buffer more is received before the response is looked at.
    if (count < room && ending.known(received) && ending.reached(received, earlier)) return 0;
  }
}

}  // namespace

int http_connect(mem_pool* pool, const char* ip, int port, const char* request, int request_length,
                 char** response, int* response_length, int timeout_ms) {
  if (pool == nullptr || ip == nullptr || request == nullptr || request_length <= 0 || response == nullptr ||
      response_length == nullptr) {
    return -1;
  }
  const Descriptor socket(socket_create(AF_INET, SOCK_STREAM));
  const int connected = socket_connect(socket.get(), ip, port, timeout_ms);
  if (connected != 0) return connected - 100;
  const int sent = socket_send(socket.get(), request, request_length, 0);
  if (sent < 0) return sent - 200;

  Received received;
  const int code = receive(socket.get(), timeout_ms, {*response, *response_length}, received);
  if (code != 0) return code;
  const auto length = static_cast<size_t>(received.length());
  char* const copy = zel::http::copy_to(pool, {received.text(), length});
  if (copy == nullptr) return kOutOfMemory;
  *response = copy;
  *response_length = received.length();
  return 0;
}
