#include "exchange.h"

#include <algorithm>

#include "../support/places.h"

namespace routerbox::downloads {
namespace {

constexpr std::string_view kMethod = "method";
constexpr std::string_view kInnerMethod = "methodName";  // in system.multicall

constexpr const char* kTelling[] = {"aria2.tellActive", "aria2.tellWaiting", "aria2.tellStopped",
                                    "aria2.tellStatus"};

// The first array or object among the parameters, wherever a secret token or left out ones put it.
Json* first_of(Json::value_t type, Json* params) {
  const auto found =
      std::find_if(params->begin(), params->end(), [&](const Json& value) { return value.type() == type; });
  return found != params->end() ? &*found : nullptr;
}

std::string widen(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80)
      text += c;
    else
      text.append({static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))});
  }
  return text;
}

std::string narrow(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool wide = (byte & 0xFE) == 0xC2 && i + 1 < text.size();
    bytes += wide ? static_cast<char>(byte << 6 | (text[++i] & 0x3F)) : text[i];
  }
  return bytes;
}

// The daemon takes and gives names in any coding, while JSON is UTF-8. A text that is not is read as if each of
// its bytes were a character, and written so again. One that is too deep is left to the daemon, which refuses it.
class Document {
 public:
  explicit Document(const std::string& text) {
    if (is_too_deep(text)) return;
    tree = Json::parse(text, nullptr, false);
    if (!tree.is_discarded()) return;
    tree = Json::parse(widen(text), nullptr, false);
    wide_ = true;
  }
  std::string text() const { return wide_ ? narrow(text_of(tree)) : text_of(tree); }

  Json tree;

 private:
  bool wide_ = false;
};

std::string text_member(const Json& object, std::string_view name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

void complete(Json* entry, bool without_gid, const Appids& appids) {
  const std::string gid = entry->is_object() ? text_member(*entry, "gid") : "";
  if (gid.empty()) return;
  (*entry)["appid"] = appids.of(gid);
  if (without_gid) entry->erase("gid");
}

// With another name of the folder it lies in; none when it does not lie there.
std::optional<std::string> moved(const std::string& path, const std::string& from, const std::string& to) {
  const bool below = path.starts_with(from) && (path.size() == from.size() || path[from.size()] == '/');
  if (from.empty() || !below) return std::nullopt;
  return to + path.substr(from.size());
}

// Wherever the daemon says where something lies. Returns whether it does so below that folder.
bool show_folder(Json* value, const std::string& data) {
  bool shown = false;
  for (const char* member : {"dir", "path"}) {
    if (!value->is_object() || !value->contains(member)) continue;
    if (const auto path = moved(text_member(*value, member), data, kDataFolder)) {
      (*value)[member] = *path;
      shown = true;
    }
  }
  if (value->is_structured())
    for (Json& inner : *value) shown = show_folder(&inner, data) || shown;
  return shown;
}

}  // namespace

Exchange::Exchange(const std::string& request, std::string data) : data_(std::move(data)), request_(request) {
  Document document(request);
  read(&document.tree);
  if (changed_) request_ = document.text();
}

void Exchange::read(Json* document) {
  const Json::json_pointer whole;
  if (!document->is_array()) return read_call(document, kMethod, whole / "result");
  size_t answered = 0;
  for (Json& call : *document) {
    if (!call.is_object()) continue;  // the daemon answers nothing to it
    read_call(&call, kMethod, whole / answered++ / "result");
  }
}

void Exchange::read_call(Json* call, std::string_view name, const Json::json_pointer& result) {
  if (!call->is_object()) return;
  const std::string method = text_member(*call, name);
  methods_.push_back(method);
  const auto found = call->find("params");
  Json* const params = found != call->end() && found->is_array() ? &*found : nullptr;
  if (params != nullptr) rename_folder(params);
  if (std::find(std::begin(kTelling), std::end(kTelling), method) != std::end(kTelling)) {
    read_tell(params, result);
  } else if (params == nullptr) {
    return;
  } else if (method == "aria2.addUri") {
    const Json* const options = first_of(Json::value_t::object, params);
    calls_.push_back({Call::kAdds, result, options != nullptr ? text_member(*options, "appid") : "", false});
  } else if (method == "system.multicall" && name == kMethod && !params->empty() &&
             params->front().is_array()) {
    // The daemon refuses another one within.
    size_t place = 0;
    for (Json& inner : params->front()) read_call(&inner, kInnerMethod, result / place++ / 0);
  }
}

void Exchange::rename_folder(Json* params) {
  Json* const options = first_of(Json::value_t::object, params);
  if (options == nullptr || data_.empty()) return;
  const std::optional<std::string> folder = moved(text_member(*options, "dir"), kDataFolder, data_);
  if (!folder) return;
  (*options)["dir"] = *folder;
  changed_ = true;
}

void Exchange::read_tell(Json* params, const Json::json_pointer& result) {
  Json* const keys = params != nullptr ? first_of(Json::value_t::array, params) : nullptr;
  // No keys, and an empty list of keys, mean all.
  const bool without_gid =
      keys != nullptr && !keys->empty() && std::find(keys->begin(), keys->end(), "gid") == keys->end();
  if (without_gid) keys->push_back("gid");
  changed_ = changed_ || without_gid;
  calls_.push_back({Call::kTells, result, "", without_gid});
}

bool Exchange::adds() const {
  return std::any_of(calls_.begin(), calls_.end(), [](const Call& call) { return call.kind == Call::kAdds; });
}

std::string Exchange::finish(const std::string& answer, Appids* appids) const {
  if (calls_.empty() && data_.empty()) return answer;
  Document document(answer);
  Json& tree = document.tree;
  bool told = !data_.empty() && show_folder(&tree, data_);
  for (const Call& call : calls_) {
    if (!tree.is_structured() || !tree.contains(call.result)) continue;  // the daemon refused
    Json& result = tree[call.result];
    if (call.kind == Call::kAdds) {
      if (result.is_string()) appids->remember(result.get<std::string>(), call.appid);
      continue;
    }
    told = true;
    if (result.is_array())
      for (Json& entry : result) complete(&entry, call.gid_was_added, *appids);
    else
      complete(&result, call.gid_was_added, *appids);
  }
  return told ? document.text() : answer;
}

}  // namespace routerbox::downloads
