#include "server.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "content.h"
#include "transfer.h"

namespace routerbox::files {
namespace {

namespace fs = std::filesystem;
using httplib::Request;
using httplib::Response;

constexpr int kNotFound = 404;
constexpr std::chrono::hours kSilence(1);
constexpr time_t kPatienceSeconds = 60;  // with a client that reads nothing

// The patterns of the routes allow no number that does not fit.
uint64_t number(const Request& request, size_t place) {
  return std::stoull(request.matches[place]);
}

Content make_content(uint64_t size) {
  return {size, [](uint64_t offset, char* block, size_t length) {
            fill_content(offset, block, length);
            return true;
          }};
}

void send_file(const std::string& folder, const Request& request, Response& response, const Manner& manner) {
  const std::optional<Content> file =
      folder.empty() ? std::nullopt : open_file(folder, request.matches[1].str());
  if (file)
    send_content(request, response, *file, manner);
  else
    response.status = kNotFound;
}

void send_bytes(const std::string&, const Request& request, Response& response, const Manner& manner) {
  send_content(request, response, make_content(number(request, 1)), manner);
}

void send_slowly(const std::string&, const Request& request, Response& response, const Manner& manner) {
  Manner slow = manner;
  slow.bytes_per_second = number(request, 1);
  send_content(request, response, make_content(number(request, 2)), slow);
}

void drop(const std::string&, const Request& request, Response& response, const Manner& manner) {
  Manner dropping = manner;
  dropping.drop_at = number(request, 1);
  send_content(request, response, make_content(number(request, 2)), dropping);
}

void send_status(const std::string&, const Request& request, Response& response, const Manner&) {
  response.status = static_cast<int>(number(request, 1));
  response.set_content("HTTP " + request.matches[1].str() + "\n", "text/plain");
}

void redirect(const std::string&, const Request& request, Response& response, const Manner&) {
  response.set_redirect(request.get_param_value("to"), static_cast<int>(number(request, 1)));
}

void hang(const std::string&, const Request&, Response& response, const Manner&) {
  response.status = 504;
}

}  // namespace

struct Route {
  const char* name;
  const char* pattern;
  void (*send)(const std::string& folder, const Request&, Response&, const Manner&);
  std::chrono::milliseconds before;  // silence
};

namespace {

constexpr Route kRoutes[] = {
    {"files", "/files/(.+)", send_file, {}},
    {"bytes", R"(/bytes/(\d{1,18}))", send_bytes, {}},
    {"slow", R"(/slow/([1-9]\d{0,17})/(\d{1,18}))", send_slowly, {}},
    {"drop", R"(/drop/(\d{1,18})/(\d{1,18}))", drop, {}},
    {"status", R"(/status/([2-9]\d\d))", send_status, {}},
    {"redirect", R"(/redirect/(3\d\d))", redirect, {}},
    {"hang", "/hang", hang, kSilence},
};

}  // namespace

std::vector<std::string> methods() {
  std::vector<std::string> names;
  for (const Route& route : kRoutes) names.emplace_back(route.name);
  return names;
}

Server::Server(std::string folder, Faults& faults, RequestLog& log)
    : folder_(std::move(folder)), faults_(faults), log_(log) {
  if (!folder_.empty() && !fs::is_directory(folder_)) throw Failure(folder_ + " is not a folder");
  http_.set_write_timeout(kPatienceSeconds);
  route_faults(&http_, &faults_);
  for (const Route& route : kRoutes)
    http_.Get(route.pattern,
              [this, &route](const auto& request, auto& response) { serve(route, request, response); });
  http_.set_unknown(
      [this](const Request& request, Response& response) { this->log(request, now(), response.status, ""); });
}

void Server::serve(const Route& route, const Request& request, Response& response) {
  constexpr int kOk = 200;
  const Arrival arrival = now();
  const std::optional<Fault> fault = faults_.take({route.name});
  Reply reply;
  reply.before = route.before;
  if (fault) fault->play(&reply);
  // A part of something has a status of its own, which is set when it is sent.
  if (!reply.body) route.send(folder_, request, response, manner_of(reply));
  const int status = reply.body ? reply.status : response.status;
  log(request, arrival, status > 0 ? status : kOk, fault ? fault->kind->name : "");
  if (reply.body) return send(reply, response);
  std::this_thread::sleep_for(reply.before);
}

void Server::log(const Request& request, Arrival arrival, int status, const std::string& fault) {
  log_.write(request, arrival,
             {request.method + " " + request.target, "", std::to_string(status), fault, {}});
}

}  // namespace routerbox::files
