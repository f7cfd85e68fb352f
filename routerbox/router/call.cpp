#include "call.h"

namespace routerbox::router {
namespace {

constexpr std::string_view kMethod = "method=";

std::string_view cut(std::string_view* text, char end) {
  const size_t place = text->find(end);
  const std::string_view piece = text->substr(0, place);
  text->remove_prefix(place == std::string_view::npos ? text->size() : place + 1);
  return piece;
}

}  // namespace

Call parse_call(std::string_view target) {
  Call call;
  cut(&target, '?');
  if (target.substr(0, kMethod.size()) != kMethod) {
    call.text = target;
    return call;
  }
  target.remove_prefix(kMethod.size());
  call.method = cut(&target, '&');
  call.text = target;
  while (!target.empty()) {
    std::string_view value = cut(&target, '&');
    const bool assigned = value.find('=') != std::string_view::npos;
    const std::string_view key = cut(&value, '=');
    call.malformed = call.malformed || !assigned || key.empty();
    call.parameters.emplace_back(key, value);
  }
  return call;
}

}  // namespace routerbox::router
