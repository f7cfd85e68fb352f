#include "reply.h"

#include <algorithm>
#include <thread>

namespace routerbox {
namespace {

// Sends the body byte by byte or only its beginning.
httplib::ContentProvider send_unwillingly(const Reply& reply, std::string body) {
  return [reply, body = std::move(body)](size_t offset, size_t length, httplib::DataSink& sink) {
    if (offset >= reply.cut_after) return false;
    std::this_thread::sleep_for(reply.between_bytes);
    const bool trickles = reply.between_bytes.count() > 0;
    return sink.write(body.data() + offset, std::min(reply.cut_after - offset, trickles ? 1 : length));
  };
}

}  // namespace

void send(const Reply& reply, httplib::Response& response) {
  std::this_thread::sleep_for(reply.before);
  response.status = reply.status;
  std::string body = reply.body ? *reply.body : text_of(reply.answer);
  if (body.empty()) return;
  const bool willing = reply.between_bytes.count() == 0 && reply.cut_after >= body.size();
  if (willing)
    response.set_content(body, reply.type);
  else
    response.set_content_provider(body.size(), reply.type, send_unwillingly(reply, body));
}

}  // namespace routerbox
