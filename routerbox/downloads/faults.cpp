#include "faults.h"

namespace routerbox::downloads {
namespace {

constexpr int kMostCode = std::numeric_limits<int>::max();
constexpr int kMostElements = 100'000;

void play_error(int code, const std::string& text, Reply* reply) {
  reply->answer = {{"id", nullptr}, {"jsonrpc", "2.0"}, {"error", {{"code", code}, {"message", text}}}};
}

void play_size(int elements, const std::string&, Reply* reply) {
  if (!reply->answer.is_array()) return;
  auto& answers = reply->answer.get_ref<Json::array_t&>();
  answers.resize(static_cast<size_t>(elements), answers.empty() ? Json() : Json(answers.back()));
}

void remove(const std::string& member, Json* value) {
  if (value->is_object()) value->erase(member);
  if (value->is_structured())
    for (Json& inner : *value) remove(member, &inner);
}

void texts_to_numbers(Json* value) {
  if (value->is_string()) *value = value->get<std::string>().size();
  if (value->is_structured())
    for (Json& inner : *value) texts_to_numbers(&inner);
}

}  // namespace

std::vector<FaultKind> own_faults() {
  return {
      {"error", "code", 1, -kMostCode, kMostCode, Effect::kNone, "text", "the daemon is busy", play_error},
      {"size", "elements", 1, 0, kMostElements, Effect::kFull, nullptr, "", play_size},
      {"without", nullptr, 0, 0, 0, Effect::kFull, "member", "appid",
       [](int, const std::string& member, Reply* reply) { remove(member, &reply->answer); }},
      {"types", nullptr, 0, 0, 0, Effect::kFull, nullptr, "",
       [](int, const std::string&, Reply* reply) { texts_to_numbers(&reply->answer); }},
  };
}

}  // namespace routerbox::downloads
