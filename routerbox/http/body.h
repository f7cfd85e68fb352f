// body.h: requests with a body.
#pragma once
#include <httplib.h>

#include <functional>
#include <string>

namespace routerbox {

// As much as the router's download daemon takes.
inline constexpr size_t kLongestBody = 2'097'152;

using BodyHandler = std::function<void(const httplib::Request& request, const std::string& body,
                                       httplib::Response& response)>;

// Gives the handler the whole body. A longer one than kLongestBody is not kept, whatever its form, and gets HTTP
// status 413. The library's own reading has a shorter limit for forms, and none for a body in chunks.
httplib::Server::HandlerWithContentReader with_body(BodyHandler handler);

}  // namespace routerbox
