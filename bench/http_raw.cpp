// One request and its answer by the client on plain sockets, beside the same by hand on blocking sockets and by
// libcurl.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <zel/http_raw.h>
#include "canned_server.h"
#include "pairs.h"

namespace {

constexpr int kTimeoutMs = 5000;
constexpr char kAddress[] = "127.0.0.1";

// The size of an answer's body, 0 for a failure; the last byte is looked at to see that it is all there.
using Size = size_t;

Size size_if_whole(const char* body, size_t length) {
  return length > 0 && body[length - 1] == 'b' ? length : 0;
}

Size by_the_client(int port) {
  mem_pool* const pool = mem_create_pool(4096, nullptr, 0);
  http_header_elem* headers = nullptr;
  char *request, *response = nullptr, *body = nullptr;
  int request_length, response_length = 0, body_length = 0, status = 0;
  Size size = 0;
  if (http_header_list_add_elem(pool, &headers, "Host", kAddress) == 0 &&
      generate_http_request(pool, "GET", "/query", headers, nullptr, nullptr, 0, &request, &request_length) ==
          0 &&
      http_connect(pool, kAddress, port, request, request_length, &response, &response_length, kTimeoutMs) ==
          0 &&
      parse_http_response(pool, response, response_length, &status, nullptr, nullptr, &body, &body_length,
                          1) == 0 &&
      status == 200) {
    size = size_if_whole(body, static_cast<size_t>(body_length));
  }
  mem_destroy_pool(pool);
  return size;
}

// A text that grows to twice its size, as by hand.
struct Growing {
  std::unique_ptr<char, decltype(&std::free)> bytes{nullptr, &std::free};
  size_t length = 0;
  size_t capacity = 0;

  void make_room(size_t wanted) {
    if (capacity - length >= wanted + 1) return;
    while (capacity - length < wanted + 1) capacity = capacity == 0 ? 4096 : capacity * 2;
    bytes.reset(static_cast<char*>(std::realloc(bytes.release(), capacity)));
    if (bytes == nullptr) bench::fail("realloc");
  }
};

int bare_connection(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(kAddress);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) bench::fail("connect");
  return fd;
}

Size by_bare_sockets(int port) {
  const int fd = bare_connection(port);
  char request[256];
  const int request_length =
      std::snprintf(request, sizeof request, "GET %s HTTP/1.1\r\nHost:%s\r\n\r\n", "/query", kAddress);
  if (send(fd, request, static_cast<size_t>(request_length), MSG_NOSIGNAL) < 0) bench::fail("send");
  Growing response;
  const char* body = nullptr;
  size_t body_at = 0, expected = 0;
  do {
    response.make_room(1);
    char* const end = response.bytes.get() + response.length;
    const ssize_t count = recv(fd, end, response.capacity - response.length - 1, 0);
    if (count <= 0) break;
    end[count] = '\0';
    response.length += static_cast<size_t>(count);
    if (body_at != 0) continue;
    body = std::strstr(response.bytes.get(), "\r\n\r\n");
    if (body == nullptr) continue;
    body_at = static_cast<size_t>(body + 4 - response.bytes.get());
    const char* const length = strcasestr(response.bytes.get(), "\r\nContent-Length:");
    expected = length != nullptr ? std::strtoul(length + 17, nullptr, 10) : 0;
  } while (body_at == 0 || response.length - body_at < expected);
  close(fd);
  return size_if_whole(response.bytes.get() + body_at, response.length - body_at);
}

size_t append(char* data, size_t size, size_t number, void* to) {
  Growing& text = *static_cast<Growing*>(to);
  text.make_room(size * number);
  std::memcpy(text.bytes.get() + text.length, data, size * number);
  text.length += size * number;
  return size * number;
}

Size by_libcurl(const std::string& url) {
  Growing body;
  long status = 0;
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(kTimeoutMs));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  return status == 200 ? size_if_whole(body.bytes.get(), body.length) : 0;
}

void compare(const char* what, size_t size) {
  const bench::CannedServer server({std::string(size, 'b')});
  const int port = server.port();
  const std::string url = server.url() + "/query";
  if (by_the_client(port) != size || by_bare_sockets(port) != size || by_libcurl(url) != size) {
    std::fputs("http_raw: the answer is not what the server sent\n", stderr);
    std::exit(1);
  }
  const auto ours = [port] { benchmark::DoNotOptimize(by_the_client(port)); };
  pairs::compare(std::string(what) + ", raw client / bare sockets", ours,
                 [port] { benchmark::DoNotOptimize(by_bare_sockets(port)); });
  pairs::compare(std::string(what) + ", raw client / libcurl", ours,
                 [url] { benchmark::DoNotOptimize(by_libcurl(url)); });
}

}  // namespace

int main(int argc, char** argv) {
  bench::stay_on_one_processor();
  compare("1 KB", 1000);
  compare("1 MB", 1000 * 1000);
  // Most of a call is the kernel's and varies; many short repetitions find quiet moments on a busy machine.
  char repetitions[] = "--benchmark_repetitions=500";
  char duration[] = "--benchmark_min_time=0.001";
  std::vector<char*> options = {argv[0], repetitions, duration};
  options.insert(options.end(), argv + 1, argv + argc);
  return pairs::run(static_cast<int>(options.size()), options.data());
}
