// call.h: one request to the router, as its URL tells it.
#pragma once
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace routerbox::router {

using Parameters = std::vector<std::pair<std::string, std::string>>;

struct Call {
  std::string method;      // empty: the URL names none
  std::string text;        // the parameters as they came, for the log
  Parameters parameters;   // in the order they came
  bool malformed = false;  // a parameter without name or '='
};

// `target` is the request's path and query. Clients escape nothing, so nothing is decoded here: '%', '+',
// '?', '=' and bytes above 127 in a value are the value's. Only '&' ends a value, and what HTTP itself cuts
// never arrives: blanks end the target, '#' and what follows stays with the client.
Call parse_call(std::string_view target);

}  // namespace routerbox::router
