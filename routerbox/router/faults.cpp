#include "faults.h"

#include "methods.h"

namespace routerbox::router {
namespace {

constexpr int kMostBytes = 100'000'000;
constexpr int kMostCode = std::numeric_limits<int>::max();

void swap_types(Json* value) {
  if (value->is_structured()) {
    for (Json& inner : *value) swap_types(&inner);
  } else {
    *value = value->is_string() ? Json(value->get<std::string>().size()) : Json(value->dump());
  }
}

void play_types(int, const std::string&, Reply* reply) {
  for (auto& [key, value] : reply->answer.items())
    if (key != "ResponseHeader") swap_types(&value);
}

}  // namespace

std::vector<FaultKind> own_faults() {
  return {
      {"types", nullptr, 0, 0, 0, Effect::kFull, nullptr, "", play_types},
      {"error", "code", 5, -kMostCode, kMostCode, Effect::kNone, "text", "the router is busy",
       [](int code, const std::string& text, Reply* reply) { reply->answer = envelope(code, text); }},
      {"oversize", "bytes", 20000, 0, kMostBytes, Effect::kFull, nullptr, "",
       [](int bytes, const std::string&, Reply* reply) {
         reply->answer["Padding"] = std::string(static_cast<size_t>(bytes), 'x');
       }},
  };
}

}  // namespace routerbox::router
