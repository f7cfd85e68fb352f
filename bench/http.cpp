// HttpGet beside a bare libcurl transfer with the same options, from the same server: the time, and the bytes
// that one call allocates.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pairs.h"
#include "zel/http.h"

// The program's own allocator counts and passes on to the C library's. The names are that library's.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
}

namespace {

std::atomic<size_t> allocated_bytes{0};
std::atomic<size_t> allocations{0};

void count(size_t bytes) {
  allocated_bytes.fetch_add(bytes, std::memory_order_relaxed);
  allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void* malloc(size_t size) {
  count(size);
  return __libc_malloc(size);
}

void* calloc(size_t number, size_t size) {
  count(number * size);
  return __libc_calloc(number, size);
}

void* realloc(void* memory, size_t size) {
  count(size);
  return __libc_realloc(memory, size);
}

namespace {

constexpr long kTimeoutSeconds = 5;

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

// One connection after the other; each is answered once and closed by the client.
[[noreturn]] void serve(int listening, const std::string& answer) {
  char request[4096];
  for (;;) {
    const int client = accept(listening, nullptr, nullptr);
    if (client < 0) fail("accept");
    if (recv(client, request, sizeof request, 0) > 0) {
      send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
      while (recv(client, request, sizeof request, 0) > 0) continue;
    }
    close(client);
  }
}

// Starts a server in a process of its own, which ends with this one. Returns its URL.
std::string start_server(const std::string& body) {
  const int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listening, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening, 16) != 0 ||
      getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fail("server");
  }
  const pid_t child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(listening, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  close(listening);
  return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/query";
}

// The two processes take turns, so they lose nothing by sharing a processor; on two, the time to wake the
// other one would vary more than what is measured.
void stay_on_one_processor() {
  cpu_set_t here;
  CPU_ZERO(&here);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &here);
  if (sched_setaffinity(0, sizeof here, &here) != 0) fail("sched_setaffinity");
}

struct Text {
  size_t length = 0;
  char bytes[ZEL_HTTP_RESULT_SIZE];
};

size_t append(char* data, size_t size, size_t number, void* to) {
  Text& text = *static_cast<Text*>(to);
  const size_t taken = std::min(size * number, sizeof text.bytes - 1 - text.length);
  std::memcpy(text.bytes + text.length, data, taken);
  text.length += taken;
  text.bytes[text.length] = '\0';
  return size * number;
}

// Returns whether the status was 200.
bool bare_get(const char* url, Text& body) {
  Text header;
  long status = 0;
  body.length = 0;
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, kTimeoutSeconds);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &header);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, nullptr);
  curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  return status == 200;
}

bool our_get(const char* url, char* result) {
  return HttpGet(result, url, kTimeoutSeconds, 1) == 0;
}

struct Allocated {
  size_t bytes;
  size_t times;
};

// What one call allocates, as the mean of several.
template <class Call>
Allocated allocated(Call call) {
  constexpr size_t kCalls = 20;
  const Allocated before = {allocated_bytes, allocations};
  for (size_t number = 0; number < kCalls; ++number) call();
  return {(allocated_bytes - before.bytes) / kCalls, (allocations - before.times) / kCalls};
}

void compare(size_t size) {
  const std::string body(size, 'b');
  const std::string url = start_server(body);
  const std::string what = "HttpGet, " + std::to_string(size) + " bytes";
  static Text theirs;
  static char ours[ZEL_HTTP_RESULT_SIZE];
  // The first of each also makes what the process keeps.
  if (!bare_get(url.c_str(), theirs) || !our_get(url.c_str(), ours) || theirs.bytes != body || ours != body) {
    std::fputs("HttpGet: the two transfers differ\n", stderr);
    std::exit(1);
  }
  const Allocated our_share = allocated([&] { our_get(url.c_str(), ours); });
  const Allocated their_share = allocated([&] { bare_get(url.c_str(), theirs); });
  std::printf("%s: ours allocates %zu bytes in %zu pieces, the peer %zu in %zu\n", what.c_str(),
              our_share.bytes, our_share.times, their_share.bytes, their_share.times);
  std::fflush(stdout);
  pairs::compare(
      what, [url] { benchmark::DoNotOptimize(our_get(url.c_str(), ours)); },
      [url] { benchmark::DoNotOptimize(bare_get(url.c_str(), theirs)); });
}

}  // namespace

int main(int argc, char** argv) {
  stay_on_one_processor();
  for (const size_t size : {100U, 4000U}) compare(size);
  // Most of a call is the kernel's and varies; many short repetitions find quiet moments on a busy machine.
  char repetitions[] = "--benchmark_repetitions=500";
  char duration[] = "--benchmark_min_time=0.001";
  std::vector<char*> options = {argv[0], repetitions, duration};
  options.insert(options.end(), argv + 1, argv + argc);
  return pairs::run(static_cast<int>(options.size()), options.data());
}
