// json.h: documents of the box's servers keep the order in which they were written.
#pragma once
#include <nlohmann/json.hpp>

#include <string>

namespace routerbox {

using Json = nlohmann::ordered_json;

// What an answer quotes can be any bytes; those that are no text are replaced.
inline std::string text_of(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A member as a text, whatever it is; empty: there is none.
inline std::string text_of(const Json& object, const char* member) {
  const Json value = object.value(member, Json(""));
  return value.is_string() ? value.get<std::string>() : text_of(value);
}

}  // namespace routerbox
