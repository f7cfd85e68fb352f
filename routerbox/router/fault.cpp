#include "fault.h"

#include <algorithm>

#include "../failure.h"
#include "methods.h"

namespace routerbox::router {
namespace {

constexpr int kMostMs = 3'600'000;
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

void play_hang(int ms, const std::string&, Reply* reply) {
  reply->before = std::chrono::milliseconds(ms);
  reply->status = 504;
  reply->body = "";
}

void play_http(int status, const std::string&, Reply* reply) {
  reply->status = status;
  reply->body = "<html><body>HTTP " + std::to_string(status) + "</body></html>\n";
}

constexpr FaultKind kKinds[] = {
    {"delay", "ms", 1000, 0, kMostMs, Effect::kFull, nullptr, "",
     [](int ms, const std::string&, Reply* reply) { reply->before = std::chrono::milliseconds(ms); }},
    {"hang", "ms", 60000, 0, kMostMs, Effect::kNone, nullptr, "", play_hang},
    {"cut", "bytes", 20, 0, kMostBytes, Effect::kFull, nullptr, "",
     [](int bytes, const std::string&, Reply* reply) { reply->cut_after = static_cast<size_t>(bytes); }},
    {"garbage", nullptr, 0, 0, 0, Effect::kFull, "text", "<html>{\"ResponseHeader\": [",
     [](int, const std::string& text, Reply* reply) { reply->body = text; }},
    {"types", nullptr, 0, 0, 0, Effect::kFull, nullptr, "", play_types},
    {"error", "code", 5, -kMostCode, kMostCode, Effect::kNone, "text", "the router is busy",
     [](int code, const std::string& text, Reply* reply) { reply->answer = envelope(code, text); }},
    {"oversize", "bytes", 20000, 0, kMostBytes, Effect::kFull, nullptr, "",
     [](int bytes, const std::string&, Reply* reply) {
       reply->answer["Padding"] = std::string(static_cast<size_t>(bytes), 'x');
     }},
    {"http500", "status", 500, 200, 999, Effect::kNone, nullptr, "", play_http},
    {"trickle", "ms", 20, 0, kMostMs, Effect::kFull, nullptr, "",
     [](int ms, const std::string&, Reply* reply) { reply->between_bytes = std::chrono::milliseconds(ms); }},
};

const FaultKind& kind_named(const std::string& name) {
  const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const FaultKind& row) { return name == row.name; });
  if (kind == std::end(kKinds)) throw Failure("there is no fault of the kind '" + name + "'");
  return *kind;
}

// Takes a member out of `written`, so that what is left over was not understood.
std::optional<Json> taken(Json* written, const char* key) {
  if (key == nullptr || !written->contains(key)) return std::nullopt;
  Json value = written->at(key);
  written->erase(key);
  return value;
}

std::optional<std::string> taken_text(Json* written, const char* key) {
  const std::optional<Json> value = taken(written, key);
  if (!value) return std::nullopt;
  if (!value->is_string()) throw Failure(std::string("a fault's ") + key + " must be a text");
  return value->get<std::string>();
}

std::optional<int> taken_number(Json* written, const char* key, int least, int most) {
  const std::optional<Json> value = taken(written, key);
  if (!value) return std::nullopt;
  if (!value->is_number_integer() || *value < least || *value > most)
    throw Failure(std::string("a fault's ") + key + " must be a whole number from " + std::to_string(least) +
                  " to " + std::to_string(most));
  return value->get<int>();
}

}  // namespace

Fault fault_from(const Json& written) {
  if (!written.is_object()) throw Failure("a fault must be a JSON object");
  Json rest = written;
  Fault fault;
  fault.method = taken_text(&rest, "method").value_or("");
  fault.kind = &kind_named(taken_text(&rest, "kind").value_or(""));
  const FaultKind& kind = *fault.kind;
  fault.left = taken_number(&rest, "count", 1, kMostCode);
  fault.number = taken_number(&rest, kind.number, kind.least, kind.most).value_or(kind.number_default);
  fault.text = taken_text(&rest, kind.text).value_or(kind.text_default);
  if (fault.method.empty()) throw Failure("a fault needs a method, or \"*\" for all");
  if (!rest.empty()) throw Failure("a fault of this kind has no member '" + rest.begin().key() + "'");
  return fault;
}

Json written(const Fault& fault) {
  Json result = {{"method", fault.method}, {"kind", fault.kind->name}};
  if (fault.left) result["count"] = *fault.left;
  if (fault.kind->number != nullptr) result[fault.kind->number] = fault.number;
  if (fault.kind->text != nullptr) result[fault.kind->text] = fault.text;
  return result;
}

void Faults::add(Fault fault) {
  const std::lock_guard lock(mutex_);
  faults_.push_back(std::move(fault));
}

void Faults::clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
}

Json Faults::list() const {
  const std::lock_guard lock(mutex_);
  Json result = Json::array();
  for (const Fault& fault : faults_) result.push_back(written(fault));
  return result;
}

std::optional<Fault> Faults::take(const std::string& method) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.method == "*" || fault.method == method;
  });
  if (found == faults_.end()) return std::nullopt;
  Fault fault = *found;
  if (found->left && --*found->left == 0) faults_.erase(found);
  return fault;
}

}  // namespace routerbox::router
