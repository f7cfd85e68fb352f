#include "server.h"

#include "../http/body.h"
#include "changes.h"
#include "methods.h"

namespace routerbox::router {
namespace {

constexpr const char* kJson = "application/json";
constexpr int kBadRequest = 400;

}  // namespace

Server::Server(State& state, Faults& faults, RequestLog& log) : state_(state), faults_(faults), log_(log) {
  route_api();
  route_box();
}

void Server::serve_api(const httplib::Request& request, httplib::Response& response) {
  const Arrival arrival = now();
  const Call call = parse_call(request.target);
  const std::optional<Fault> fault = faults_.take({call.method});
  Reply reply;
  reply.answer = !fault || fault->kind->effect == Effect::kFull ? answer(state_, call) : envelope(kDone, "");
  if (fault) fault->play(&reply);
  log_.write(request, arrival,
             {call.method,
              call.text,
              std::to_string(code_of(reply.answer)),
              fault ? fault->kind->name : "",
              {{"parameters", call.text}, {"answer", reply.answer}}});
  send(reply, response);
}

void Server::route_api() {
  constexpr const char* kPath = "/api";
  http_.Get(kPath, [this](const auto& request, auto& response) { serve_api(request, response); });
  http_.set_error_handler([this](const auto& request, auto& response) {
    // The library refuses a target with a second '?', which a password may well hold. Answers of ours with this
    // status have a body.
    const bool refused = response.status == kBadRequest && response.body.empty();
    if (refused && request.path == kPath && request.method == "GET") serve_api(request, response);
  });
  http_.set_unknown([this](const auto& request, auto& response) {
    log_.write(
        request, now(),
        {request.method + " " + request.target, "", "HTTP " + std::to_string(response.status), "", {}});
  });
}

void Server::route_box() {
  http_.Get("/box/state",
            [this](const auto&, auto& response) { response.set_content(text_of(state_.read()), kJson); });
  http_.Patch("/box/state", handle_change([](const Json& patch, Json* state) { state->merge_patch(patch); }));
  http_.Post("/box/set", handle_change(set_member));
  http_.Post("/box/wan", handle_change(set_link));
  http_.Post("/box/disk", handle_change(change_disks));
  route_faults(&http_, &faults_);
}

httplib::Server::HandlerWithContentReader Server::handle_change(void (*change)(const Json& wanted,
                                                                               Json* state)) {
  return with_body([this, change](const auto&, const std::string& body, auto& response) {
    if (is_too_deep(body)) throw Failure("the state cannot be that deep");
    const Json wanted = Json::parse(body);
    const std::vector<Event> events = state_.change([&](Json& state) { change(wanted, &state); });
    response.set_content(text_of(json_of(events)), kJson);
  });
}

}  // namespace routerbox::router
