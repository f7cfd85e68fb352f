#include "canned_server.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// One connection after the other; each is answered once and closed by the client.
[[noreturn]] void serve(int listening, const std::vector<std::string>& answers,
                        const volatile size_t* chosen) {
  char request[4096];
  for (;;) {
    const int client = accept(listening, nullptr, nullptr);
    if (client < 0) bench::fail("accept");
    if (recv(client, request, sizeof request, 0) > 0) {
      const std::string& answer = answers[*chosen];
      send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
      while (recv(client, request, sizeof request, 0) > 0) continue;
    }
    close(client);
  }
}

std::vector<std::string> with_headers(const std::vector<std::string>& bodies) {
  std::vector<std::string> answers;
  for (const std::string& body : bodies) {
    answers.push_back("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  return answers;
}

size_t append(char* data, size_t size, size_t number, void* to) {
  bench::Text& text = *static_cast<bench::Text*>(to);
  const size_t taken = std::min(size * number, sizeof text.bytes - 1 - text.length);
  std::memcpy(text.bytes + text.length, data, taken);
  text.length += taken;
  text.bytes[text.length] = '\0';
  return size * number;
}

}  // namespace

namespace bench {

void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

CannedServer::CannedServer(const std::vector<std::string>& bodies, uint16_t port) {
  void* const shared =
      mmap(nullptr, sizeof *chosen_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) fail("mmap");
  chosen_ = static_cast<volatile size_t*>(shared);
  const int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  socklen_t size = sizeof address;
  if (bind(listening, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening, 16) != 0 ||
      getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fail("server");
  }
  const pid_t child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(listening, with_headers(bodies), chosen_);
  }
  close(listening);
  port_ = ntohs(address.sin_port);
  url_ = "http://127.0.0.1:" + std::to_string(port_);
}

void stay_on_one_processor() {
  cpu_set_t here;
  CPU_ZERO(&here);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &here);
  if (sched_setaffinity(0, sizeof here, &here) != 0) fail("sched_setaffinity");
}

bool bare_transfer(const char* url, const char* posted, long timeout_s, Text& body) {
  Text header;
  long status = 0;
  body.length = 0;
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, timeout_s);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &header);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, nullptr);
  if (posted != nullptr) {
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, posted);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(std::strlen(posted)));
  }
  curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  return status == 200;
}

}  // namespace bench
