#include "owner.h"

#include <unistd.h>

#include <string_view>

#include "../trace/peers.h"

namespace routerbox {
namespace {

constexpr std::string_view kOwned = "/box/";
constexpr int kForbidden = 403;

}  // namespace

std::optional<uid_t> sender_of(const httplib::Request& request) {
  return owner_of({request.remote_addr, request.local_addr, static_cast<uint16_t>(request.remote_port),
                   static_cast<uint16_t>(request.local_port)});
}

void keep_box_for_owner(httplib::Server* server) {
  using Response = httplib::Server::HandlerResponse;
  server->set_pre_routing_handler([](const httplib::Request& request, httplib::Response& response) {
    if (!std::string_view(request.path).starts_with(kOwned) || sender_of(request) == geteuid())
      return Response::Unhandled;
    response.status = kForbidden;
    response.set_content(request.path + " is for root of the box, not for plug-ins\n", "text/plain");
    return Response::Handled;
  });
}

}  // namespace routerbox
