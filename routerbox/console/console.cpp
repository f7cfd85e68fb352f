#include "console.h"

#include <httplib.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include "../http/loopback.h"
#include "../isolation/run_folder.h"
#include "../support/io.h"
#include "../support/json.h"
#include "../support/status.h"
#include "page.h"
#include "stream.h"

namespace routerbox {
namespace {

constexpr const char* kJson = "application/json";
constexpr int kUnauthorized = 401, kForbidden = 403, kNoBox = 503;
constexpr time_t kVerbLimitSeconds = 60;  // longer than anything a verb waits for
constexpr size_t kTokenBytes = 16, kRequestsOfConnection = 1000;

// No script, style, picture or connection but this server's, and no text of a box can become markup.
constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri "
    "'none'; "
    "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'";

std::string make_token() {
  unsigned char bytes[kTokenBytes];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) fail_errno("cannot make a token");
  std::string token;
  char digits[3];
  for (const unsigned char byte : bytes) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    token += digits;
  }
  return token;
}

// Takes the same time wherever they differ.
bool same_secret(const std::string& one, const std::string& other) {
  if (one.size() != other.size()) return false;
  unsigned difference = 0;
  for (size_t place = 0; place < one.size(); ++place)
    difference |= static_cast<unsigned char>(one[place]) ^ static_cast<unsigned char>(other[place]);
  return difference == 0;
}

class Console : public httplib::Server {
 public:
  explicit Console(std::string box) : box_(std::move(box)), token_(make_token()) {
    set_up(this);
    set_keep_alive_max_count(kRequestsOfConnection);  // few clients, which ask again and again
    set_default_headers({{"Content-Security-Policy", kContentPolicy},
                         {"X-Content-Type-Options", "nosniff"},
                         {"Referrer-Policy", "no-referrer"},
                         {"Cross-Origin-Resource-Policy", "same-origin"},
                         {"Cross-Origin-Opener-Policy", "same-origin"},
                         {"Cache-Control", "no-store"}});
    set_pre_routing_handler([this](const auto& request, auto& response) { return admit(request, response); });
    for (const PageFile& file : kPage)
      Get(file.path, [&file](const auto&, auto& response) {
        response.set_content(file.text.data(), file.text.size(), file.type);
      });
    Get("/api/verbs", [this](const auto& request, auto& response) { pass_on(request, "", response); });
    Get("/api/trace", [this](const auto&, auto& response) { stream_trace(response); });
    Post("/api/[a-z]+", with_body([this](const auto& request, const auto& body, auto& response) {
           pass_on(request, body, response);
         }));
  }

  // Its address, with the token.
  std::string take_connections(int wanted) {
    const int port = wanted == 0 ? bind_to_any_port(kLoopback) : wanted;
    if (port < 0 || (wanted != 0 && !bind_to_port(kLoopback, wanted)))
      throw Failure("cannot listen at 127.0.0.1:" + std::to_string(wanted) +
                        "; is another server there? Without --port the console finds a port itself",
                    kFailed);
    let_many_wait(svr_sock_);
    host_ = std::string(kLoopback) + ":" + std::to_string(port);
    return "http://" + host_ + "/#" + token_;
  }

 private:
  static bool has_data(const httplib::Request& request) { return request.path.starts_with("/api/"); }

  // Whether the browser sent it of its own, for its user or for a page of this server.
  bool is_of_own_page(const httplib::Request& request) const {
    const std::string origin = request.get_header_value("Origin"),
                      site = request.get_header_value("Sec-Fetch-Site");
    // Somebody may click the address where it was printed, in a terminal that is a page itself.
    const bool visit = !has_data(request) && request.get_header_value("Sec-Fetch-Mode") == "navigate" &&
                       request.get_header_value("Sec-Fetch-Dest") == "document";
    return (origin.empty() || origin == "http://" + host_) &&
           (site.empty() || site == "none" || site == "same-origin" || visit);
  }

  // 0, or why not.
  int refusal_of(const httplib::Request& request) const {
    if (request.get_header_value("Host") != host_ || !is_of_own_page(request)) return kForbidden;
    if (!has_data(request)) return 0;
    return same_secret(request.get_header_value("Authorization"), "Bearer " + token_) ? 0 : kUnauthorized;
  }

  HandlerResponse admit(const httplib::Request& request, httplib::Response& response) const {
    response.status = refusal_of(request);
    if (response.status != 0) return HandlerResponse::Handled;
    response.status = -1;  // the library's own: the route decides
    return HandlerResponse::Unhandled;
  }

  void pass_on(const httplib::Request& request, const std::string& body, httplib::Response& response) const {
    httplib::Client control(socket_of(box_));
    control.set_address_family(AF_UNIX);
    control.set_read_timeout(kVerbLimitSeconds);
    const std::string path = request.path.substr(std::string_view("/api").size());
    const httplib::Result result =
        request.method == "GET" ? control.Get(path) : control.Post(path, body, kJson);
    response.status = result ? result->status : kNoBox;
    response.set_content(
        result ? result->body
               : text_of({{"error", "the box " + box_ + " does not answer; routerbox up starts it"},
                          {"status", kFailed}}),
        kJson);
  }

  void stream_trace(httplib::Response& response) const {
    const auto stream = std::make_shared<TraceStream>(box_);
    response.set_chunked_content_provider("text/event-stream", [stream](size_t, httplib::DataSink& sink) {
      const std::string piece = stream->next();
      return piece.empty() ? sink.is_writable() : sink.write(piece.data(), piece.size());
    });
  }

  const std::string box_, token_;
  std::string host_;
};

void print_for_run(const std::string& address) {
  write_all(STDERR_FILENO, "routerbox: the console is at " + address + "\n");
}

}  // namespace

void serve_console(const ConsoleWish& wish) {
  Console console(wish.box);
  wish.print(console.take_connections(wish.port));
  serve_until_signal("routerbox", {&console});
}

void start_console(const std::string& box, int port) {
  const pid_t parent = getpid(), child = fork();
  if (child < 0) fail_errno("cannot start the console");
  if (child > 0) return;
  try {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) _exit(kFailed);
    serve_console({box, port, print_for_run});
  } catch (const std::exception& error) {
    write_all(STDERR_FILENO, "routerbox: there is no console: " + std::string(error.what()) + "\n");
  }
  _exit(kFailed);
}

}  // namespace routerbox
