#include "server.h"

#include <algorithm>
#include <thread>

#include "methods.h"

namespace routerbox::router {
namespace {

constexpr const char* kJson = "application/json";
constexpr const char* kText = "text/plain";
constexpr int kBadRequest = 400;

std::string text_of(const Json& json) {
  // The answer may quote a request, whose bytes can be anything.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Sends the body byte by byte or only its beginning.
httplib::ContentProvider unwilling(const Reply& reply, std::string body) {
  return [reply, body = std::move(body)](size_t offset, size_t length, httplib::DataSink& sink) {
    if (offset >= reply.cut_after) return false;
    std::this_thread::sleep_for(reply.between_bytes);
    const bool trickles = reply.between_bytes.count() > 0;
    return sink.write(body.data() + offset, std::min(reply.cut_after - offset, trickles ? 1 : length));
  };
}

void send(const Reply& reply, httplib::Response& response) {
  std::this_thread::sleep_for(reply.before);
  response.status = reply.status;
  std::string body = reply.body ? *reply.body : text_of(reply.answer);
  const bool willing = reply.between_bytes.count() == 0 && reply.cut_after >= body.size();
  if (willing || body.empty())
    response.set_content(body, kJson);
  else
    response.set_content_provider(body.size(), kJson, unwilling(reply, body));
}

}  // namespace

Server::Server(State& state, Faults& faults, RequestLog& log) : state_(state), faults_(faults), log_(log) {
  route_api();
  route_box();
}

void Server::serve_api(const httplib::Request& request, httplib::Response& response) {
  const Call call = parse_call(request.target);
  const std::optional<Fault> fault = faults_.take(call.method);
  Reply reply;
  reply.answer = !fault || fault->kind->effect == Effect::kFull ? answer(state_, call) : envelope(kDone, "");
  if (fault) fault->play(&reply);
  log_.write(call.method, call.text, std::to_string(code_of(reply.answer)), fault ? fault->kind->name : "");
  send(reply, response);
}

void Server::route_api() {
  constexpr const char* kPath = "/api";
  http_.Get(kPath, [this](const auto& request, auto& response) { serve_api(request, response); });
  http_.set_error_handler([this](const auto& request, auto& response) {
    if (request.path == kPath && request.method == "GET") {
      // The library refuses a target with a second '?', which a password may well hold. Answers of ours with
      // this status have a body.
      if (response.status == kBadRequest && response.body.empty()) serve_api(request, response);
      return;
    }
    if (request.path.rfind("/box/", 0) != 0)
      log_.write(request.method + " " + request.target, "", "HTTP " + std::to_string(response.status), "");
  });
}

void Server::route_box() {
  http_.Get("/box/state",
            [this](const auto&, auto& response) { response.set_content(text_of(state_.read()), kJson); });
  http_.Patch("/box/state", [this](const auto& request, auto&) {
    const Json patch = Json::parse(request.body);
    state_.change([&](Json& document) { document.merge_patch(patch); });
  });
  http_.Get("/box/fault",
            [this](const auto&, auto& response) { response.set_content(text_of(faults_.list()), kJson); });
  http_.Post("/box/fault",
             [this](const auto& request, auto&) { faults_.add(fault_from(Json::parse(request.body))); });
  http_.Delete("/box/fault", [this](const auto&, auto&) { faults_.clear(); });
  http_.set_exception_handler([](const auto&, auto& response, std::exception_ptr thrown) {
    response.status = kBadRequest;
    try {
      std::rethrow_exception(std::move(thrown));
    } catch (const std::exception& error) {
      response.set_content(std::string(error.what()) + "\n", kText);
    }
  });
}

}  // namespace routerbox::router
