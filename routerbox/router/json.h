// json.h: the router's documents keep the order in which they were written.
#pragma once
#include <nlohmann/json.hpp>

namespace routerbox::router {

using Json = nlohmann::ordered_json;

}  // namespace routerbox::router
