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

}  // namespace routerbox
