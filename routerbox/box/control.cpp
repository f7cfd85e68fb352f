#include "control.h"

#include <httplib.h>

#include <thread>

#include "../support/status.h"
#include "../verbs/table.h"

namespace routerbox {
namespace {

// A client that hangs keeps a thread for as long as the limits say.
constexpr size_t kThreads = 16;
constexpr time_t kRequestLimitSeconds = 2;
constexpr size_t kLongestRequest = size_t{2} << 20;
constexpr const char* kJson = "application/json";

class ControlServer : public httplib::Server {
 public:
  explicit ControlServer(Descriptor socket) {
    svr_sock_ = socket.release();
    new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    set_keep_alive_max_count(1);
    set_read_timeout(kRequestLimitSeconds);
    set_write_timeout(kRequestLimitSeconds);
    set_payload_max_length(kLongestRequest);
  }
};

Json arguments_of(const httplib::Request& request) {
  if (request.body.empty()) return Json::object();
  Json arguments = Json::parse(request.body, nullptr, false);
  if (!arguments.is_object()) throw Failure("the arguments must be one JSON object", kWrongCommandLine);
  return arguments;
}

void refuse(httplib::Response& response, const std::string& text, int status) {
  response.status = 400;
  response.set_content(text_of({{"error", text}, {"status", status >= kBoxFailed ? kFailed : status}}),
                       kJson);
}

void serve_verb(const ControlHandler& handler, const httplib::Request& request, httplib::Response& response) {
  try {
    const std::string verb = request.path.substr(1);
    const Json arguments = arguments_of(request);
    check_call(verb, arguments);
    response.set_content(text_of(handler(verb, arguments)), kJson);
  } catch (const Failure& failure) {
    refuse(response, failure.what(), failure.status());
  } catch (const std::exception& error) {
    refuse(response, error.what(), kFailed);
  }
}

}  // namespace

void start_control(Descriptor socket, ControlHandler handler) {
  if (listen(socket.get(), 64) != 0) fail_errno("cannot listen at the control socket");
  // Never deleted: its threads end with the process.
  auto* const server = new ControlServer(std::move(socket));
  server->Post("/[a-z]+", [handler = std::move(handler)](const auto& request, auto& response) {
    serve_verb(handler, request, response);
  });
  server->Get("/verbs",
              [](const auto&, auto& response) { response.set_content(text_of(verbs_as_json()), kJson); });
  std::thread([server] { server->listen_after_bind(); }).detach();
}

}  // namespace routerbox
