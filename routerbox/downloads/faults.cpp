#include "faults.h"

namespace routerbox::downloads {
namespace {

constexpr int kMostCode = std::numeric_limits<int>::max();
constexpr const char* kMethods[] = {"aria2.addUri",
                                    "aria2.addTorrent",
                                    "aria2.getPeers",
                                    "aria2.addMetalink",
                                    "aria2.remove",
                                    "aria2.pause",
                                    "aria2.forcePause",
                                    "aria2.pauseAll",
                                    "aria2.forcePauseAll",
                                    "aria2.unpause",
                                    "aria2.unpauseAll",
                                    "aria2.forceRemove",
                                    "aria2.changePosition",
                                    "aria2.tellStatus",
                                    "aria2.getUris",
                                    "aria2.getFiles",
                                    "aria2.getServers",
                                    "aria2.tellActive",
                                    "aria2.tellWaiting",
                                    "aria2.tellStopped",
                                    "aria2.getOption",
                                    "aria2.changeUri",
                                    "aria2.changeOption",
                                    "aria2.getGlobalOption",
                                    "aria2.changeGlobalOption",
                                    "aria2.purgeDownloadResult",
                                    "aria2.removeDownloadResult",
                                    "aria2.getVersion",
                                    "aria2.getSessionInfo",
                                    "aria2.shutdown",
                                    "aria2.forceShutdown",
                                    "aria2.getGlobalStat",
                                    "aria2.saveSession",
                                    "system.multicall",
                                    "system.listMethods",
                                    "system.listNotifications"};

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

std::vector<std::string> methods() {
  return {std::begin(kMethods), std::end(kMethods)};
}

}  // namespace routerbox::downloads
