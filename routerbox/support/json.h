// json.h: documents of the box's servers keep the order in which they were written.
#pragma once
#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace routerbox {

using Json = nlohmann::ordered_json;

// What an answer quotes can be any bytes; those that are no text are replaced.
inline std::string text_of(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Whether it could not be written again, which takes of the stack for each table within another. Reading does not.
inline bool is_too_deep(std::string_view json) {
  constexpr int kDeepest = 1000;
  int depth = 0;
  bool quoted = false;
  for (size_t place = 0; place < json.size() && depth <= kDeepest; ++place) {
    const char c = json[place];
    if (c == '"') quoted = !quoted;
    if (quoted && c == '\\') ++place;
    if (quoted) continue;
    depth += int{c == '[' || c == '{'} - int{c == ']' || c == '}'};
  }
  return depth > kDeepest;
}

// What a server of the box says in refusing something, which ends a line.
inline std::string reason_in(const std::string& body) {
  return body.substr(0, body.find_last_not_of('\n') + 1);
}

// A member as a text, whatever it is; empty: there is none.
inline std::string text_of(const Json& object, const char* member) {
  const Json value = object.value(member, Json(""));
  return value.is_string() ? value.get<std::string>() : text_of(value);
}

}  // namespace routerbox
