#include "body.h"

namespace routerbox {
namespace {

constexpr int kTooLong = 413;

// Without either, the library would read until the client closes the connection.
bool has_body(const httplib::Request& request) {
  return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

}  // namespace

httplib::Server::HandlerWithContentReader with_body(BodyHandler handler) {
  return [handler = std::move(handler)](const httplib::Request& request, httplib::Response& response,
                                        const httplib::ContentReader& read) {
    std::string body;
    const auto keep = [&](const char* data, size_t length) {
      if (body.size() + length > kLongestBody) return false;
      body.append(data, length);
      return true;
    };
    if (has_body(request) && !read(keep)) {
      response.status = kTooLong;
      response.set_content("the request has more than " + std::to_string(kLongestBody) + " bytes\n",
                           "text/plain");
      return;
    }
    handler(request, body, response);
  };
}

}  // namespace routerbox
