#include "front.h"

#include <strings.h>

#include <algorithm>
#include <mutex>

#include "../http/body.h"
#include "../http/owner.h"
#include "../trace/peers.h"

namespace routerbox::downloads {
namespace {

constexpr int kBadGateway = 502;
constexpr time_t kPatienceSeconds = 3600;  // a daemon that hangs is to be noticed by the client

// Headers that are about one connection or one form of the body, and those the HTTP library invents.
constexpr const char* kNotPassedOn[] = {"Host",         "Connection",        "Keep-Alive", "Content-Length",
                                        "Content-Type", "Transfer-Encoding", "Expect",     "REMOTE_ADDR",
                                        "REMOTE_PORT",  "LOCAL_ADDR",        "LOCAL_PORT", "Accept-Encoding"};

httplib::Headers pick_end_to_end(const httplib::Headers& headers) {
  httplib::Headers result;
  for (const auto& [name, value] : headers)
    if (std::none_of(std::begin(kNotPassedOn), std::end(kNotPassedOn),
                     [&name = name](const char* own) { return strcasecmp(own, name.c_str()) == 0; }))
      result.emplace(name, value);
  return result;
}

std::string join(const std::vector<std::string>& methods) {
  std::string text;
  for (const std::string& method : methods) text += (text.empty() ? "" : ",") + method;
  return text;
}

}  // namespace

Front::Front(int daemon_port, Appids& appids, Faults& faults, RequestLog& log, std::string box)
    : daemon_port_(daemon_port), appids_(appids), faults_(faults), log_(log), box_(std::move(box)) {
  route_faults(&http_, &faults_);
  http_.Post("/box/jsonrpc", with_body([this](const auto& request, const auto& body, auto& response) {
               serve_quietly(request, body, response);
             }));
  constexpr const char* kOthers = "(?!/box/).*";
  http_.Post(kOthers, with_body([this](const auto& request, const auto& body, auto& response) {
               serve(request, body, response);
             }));
  const auto without_body = [this](const auto& request, auto& response) { serve(request, "", response); };
  http_.Get(kOthers, without_body);
  http_.Options(kOthers, without_body);
}

void Front::serve(const httplib::Request& request, const std::string& body, httplib::Response& response) {
  const Arrival arrival = now();
  const Exchange exchange(body, body.empty() ? "" : data_folder_of(request));
  const std::optional<Fault> fault = faults_.take(exchange.methods());
  Reply reply;
  if (!fault || fault->kind->effect == Effect::kFull) reply = carry_out(request, exchange, &response);
  if (fault) {
    if (reply.body) reply.answer = Json::parse(*reply.body, nullptr, false);
    if (!reply.answer.is_discarded()) reply.body.reset();
    fault->play(&reply);
  }
  const std::string methods = join(exchange.methods());
  log_.write(request, arrival,
             {methods.empty() ? request.method + " " + request.target : methods,
              body.empty() ? "" : text_of(Json(body)),
              std::to_string(reply.status),
              fault ? fault->kind->name : "",
              {{"request", body}, {"answer", reply.body ? Json(*reply.body) : reply.answer}}});
  send(reply, response);
}

// Of the plug-in that asks.
std::string Front::data_folder_of(const httplib::Request& request) const {
  const std::optional<uid_t> uid = box_.empty() ? std::nullopt : sender_of(request);
  const std::optional<Plugin> plugin = uid ? plugin_of(*uid, box_) : std::nullopt;
  return plugin ? plugin->data : "";
}

void Front::serve_quietly(const httplib::Request& request, const std::string& body,
                          httplib::Response& response) {
  httplib::Request asked = request;
  asked.target = "/jsonrpc";
  send(carry_out(asked, Exchange(body), &response), response);
}

Reply Front::carry_out(const httplib::Request& request, const Exchange& exchange,
                       httplib::Response* response) {
  std::unique_lock alone(new_tasks_, std::defer_lock);
  std::shared_lock together(new_tasks_, std::defer_lock);
  if (exchange.adds())
    alone.lock();
  else
    together.lock();
  Reply reply = ask_daemon(request, exchange.request(), response);
  reply.body = exchange.finish(*reply.body, &appids_);
  return reply;
}

Reply Front::ask_daemon(const httplib::Request& request, const std::string& body,
                        httplib::Response* response) {
  httplib::Client daemon("127.0.0.1", daemon_port_);
  daemon.set_read_timeout(kPatienceSeconds);
  daemon.set_url_encode(false);
  daemon.set_tcp_nodelay(true);
  httplib::Request passed;
  passed.method = request.method;
  passed.path = request.target;
  passed.headers = pick_end_to_end(request.headers);
  passed.body = body;
  if (request.has_header("Content-Type"))
    passed.set_header("Content-Type", request.get_header_value("Content-Type"));
  const httplib::Result answer = daemon.send(passed);
  Reply reply;
  if (!answer) {
    reply.status = kBadGateway;
    reply.body = "no answer from the download daemon\n";
    reply.type = "text/plain";
    return reply;
  }
  response->headers = pick_end_to_end(answer->headers);
  reply.status = answer->status;
  reply.type = answer->get_header_value("Content-Type");
  reply.body = answer->body;
  return reply;
}

}  // namespace routerbox::downloads
