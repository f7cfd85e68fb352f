#include "fault.h"

#include <algorithm>

#include "../support/duration.h"
#include "../support/failure.h"
#include "../support/nearest.h"
#include "../support/whole_number.h"
#include "body.h"
#include "owner.h"

namespace routerbox {
namespace {

constexpr int kMostMs = 3'600'000;
constexpr int kMostBytes = 100'000'000;
constexpr int kMostCount = std::numeric_limits<int>::max();

void play_hang(int ms, const std::string&, Reply* reply) {
  reply->before = std::chrono::milliseconds(ms);
  reply->status = 504;
  reply->body = "";
}

void play_http(int status, const std::string&, Reply* reply) {
  reply->status = status;
  reply->body = "<html><body>HTTP " + std::to_string(status) + "</body></html>\n";
}

constexpr FaultKind kCommon[] = {
    {"delay", "ms", 1000, 0, kMostMs, Effect::kFull, nullptr, "",
     [](int ms, const std::string&, Reply* reply) { reply->before = std::chrono::milliseconds(ms); }},
    {"hang", "ms", 60000, 0, kMostMs, Effect::kNone, nullptr, "", play_hang},
    {"cut", "bytes", 20, 0, kMostBytes, Effect::kFull, nullptr, "",
     [](int bytes, const std::string&, Reply* reply) { reply->cut_after = static_cast<size_t>(bytes); }},
    {"garbage", nullptr, 0, 0, 0, Effect::kFull, "text", "<html>[{",
     [](int, const std::string& text, Reply* reply) { reply->body = text; }},
    {"http500", "status", 500, 200, 999, Effect::kNone, nullptr, "", play_http},
    {"trickle", "ms", 20, 0, kMostMs, Effect::kFull, nullptr, "",
     [](int ms, const std::string&, Reply* reply) { reply->between_bytes = std::chrono::milliseconds(ms); }},
};

// Takes a member out of `written`, so that what is left over was not understood.
std::optional<Json> take(Json* written, const char* key) {
  if (key == nullptr || !written->contains(key)) return std::nullopt;
  Json value = written->at(key);
  written->erase(key);
  return value;
}

std::optional<std::string> take_text(Json* written, const char* key) {
  const std::optional<Json> value = take(written, key);
  if (!value) return std::nullopt;
  if (!value->is_string()) throw Failure(std::string("a fault's ") + key + " must be a text");
  return value->get<std::string>();
}

std::optional<int> take_number(Json* written, const char* key, int least, int most) {
  const std::optional<Json> value = take(written, key);
  if (!value) return std::nullopt;
  if (!value->is_number_integer() || *value < least || *value > most)
    throw Failure(std::string("a fault's ") + key + " must be a whole number from " + std::to_string(least) +
                  " to " + std::to_string(most));
  return value->get<int>();
}

// What follows the kind's name behind a colon becomes the members it stands for.
void read_suffix(const FaultKind& kind, const std::string& text, Json* rest) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return;
  std::string suffix = text.substr(colon + 1);
  if (kind.number == nullptr && kind.text == nullptr)
    throw Failure("the kind " + std::string(kind.name) + " takes no value");
  if (kind.number != nullptr) {
    const std::string number = suffix.substr(0, suffix.find(':'));
    const bool takes_time = kind.number == std::string("ms");
    const std::optional<std::chrono::milliseconds> time = takes_time ? duration_from(number) : std::nullopt;
    const std::optional<int> value = time ? static_cast<int>(time->count()) : whole_number<int>(number);
    if (!value)
      throw Failure("'" + number + "' in " + text +
                    (takes_time ? " is no time; write 500ms or 9s" : " is no whole number"));
    (*rest)[kind.number] = *value;
    if (number.size() == suffix.size()) return;
    suffix.erase(0, number.size() + 1);
    if (kind.text == nullptr)
      throw Failure("the kind " + std::string(kind.name) + " takes one value, not " + text);
  }
  (*rest)[kind.text] = suffix;
}

// "once", or a number as a text, becomes the number.
void read_count(Json* written) {
  const auto count = written->find("count");
  if (count == written->end() || !count->is_string()) return;
  const std::optional<int> number =
      count->get<std::string>() == "once" ? 1 : whole_number<int>(count->get<std::string>());
  if (!number)
    throw Failure("a fault's count must be \"once\" or a whole number, not '" + count->get<std::string>() +
                  "'");
  *count = *number;
}

Json json_of(const Fault& fault) {
  Json result = {{"method", fault.method}, {"kind", fault.kind->name}};
  if (fault.count) result["count"] = *fault.count;
  result["played"] = fault.played;
  if (fault.kind->number != nullptr) result[fault.kind->number] = fault.number;
  if (fault.kind->text != nullptr) result[fault.kind->text] = fault.text;
  return result;
}

}  // namespace

Faults::Faults(const std::vector<FaultKind>& own, std::vector<std::string> methods)
    : kinds_([&] {
        std::vector<FaultKind> kinds(std::begin(kCommon), std::end(kCommon));
        kinds.insert(kinds.end(), own.begin(), own.end());
        return kinds;
      }()),
      methods_(std::move(methods)) {}

const FaultKind& Faults::kind_named(const std::string& name) const {
  std::vector<std::string> known;
  for (const FaultKind& kind : kinds_) {
    if (name == kind.name) return kind;
    known.emplace_back(kind.name);
  }
  throw Failure("there is no fault of the kind '" + name + "'" + advice_for(name, known));
}

void Faults::check_method(const std::string& method) const {
  if (method.empty()) throw Failure("a fault needs a method, or \"*\" for all");
  if (method != "*" && std::find(methods_.begin(), methods_.end(), method) == methods_.end())
    throw Failure("there is no method '" + method + "' to have a fault" + advice_for(method, methods_));
}

Fault Faults::fault_from(const Json& written) const {
  if (!written.is_object()) throw Failure("a fault must be a JSON object");
  Json rest = written;
  Fault fault;
  fault.method = take_text(&rest, "method").value_or("");
  check_method(fault.method);
  const std::string kind_text = take_text(&rest, "kind").value_or("");
  fault.kind = &kind_named(kind_text.substr(0, kind_text.find(':')));
  const FaultKind& kind = *fault.kind;
  read_suffix(kind, kind_text, &rest);
  read_count(&rest);
  fault.count = take_number(&rest, "count", 1, kMostCount);
  fault.number = take_number(&rest, kind.number, kind.least, kind.most).value_or(kind.number_default);
  fault.text = take_text(&rest, kind.text).value_or(kind.text_default);
  if (!rest.empty()) throw Failure("a fault of this kind has no member '" + rest.begin().key() + "'");
  return fault;
}

void Faults::add(const Json& written) {
  Fault fault = fault_from(written);
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
  for (const Fault& fault : faults_) result.push_back(json_of(fault));
  return result;
}

std::vector<std::string> Faults::kinds() const {
  std::vector<std::string> written;
  for (const FaultKind& kind : kinds_) {
    written.emplace_back(kind.name);
    if (kind.number == nullptr) continue;
    written.back() += ":" + std::to_string(kind.number_default);
    if (kind.number == std::string("ms")) written.back() += "ms";
  }
  return written;
}

std::optional<Fault> Faults::take(const std::vector<std::string>& methods) {
  const std::lock_guard lock(mutex_);
  for (Fault& fault : faults_) {
    const bool meant =
        fault.method == "*" || std::find(methods.begin(), methods.end(), fault.method) != methods.end();
    if (!meant || (fault.count && fault.played >= *fault.count)) continue;
    ++fault.played;
    return fault;
  }
  return std::nullopt;
}

void route_faults(LoopbackServer* server, Faults* faults) {
  constexpr const char* kPath = "/box/fault";
  keep_box_for_owner(server);
  server->Get(kPath, [faults](const auto&, auto& response) {
    response.set_content(text_of(faults->list()), "application/json");
  });
  server->Get("/box/methods", [faults](const auto&, auto& response) {
    response.set_content(text_of(faults->methods()), "application/json");
  });
  server->Get("/box/kinds", [faults](const auto&, auto& response) {
    response.set_content(text_of(faults->kinds()), "application/json");
  });
  server->Post(kPath,
               with_body([faults](const auto&, const auto& body, auto&) { faults->add(Json::parse(body)); }));
  server->Delete(kPath, with_body([faults](const auto&, const auto&, auto&) { faults->clear(); }));
}

}  // namespace routerbox
