#include "fault.h"

#include <algorithm>

#include "../failure.h"

namespace routerbox {
namespace {

constexpr int kMostMs = 3'600'000;
constexpr int kMostBytes = 100'000'000;
constexpr int kMostCount = std::numeric_limits<int>::max();
constexpr int kBadRequest = 400;

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

Json written(const Fault& fault) {
  Json result = {{"method", fault.method}, {"kind", fault.kind->name}};
  if (fault.left) result["count"] = *fault.left;
  if (fault.kind->number != nullptr) result[fault.kind->number] = fault.number;
  if (fault.kind->text != nullptr) result[fault.kind->text] = fault.text;
  return result;
}

}  // namespace

Faults::Faults(const std::vector<FaultKind>& own)
    : kinds_([&] {
        std::vector<FaultKind> kinds(std::begin(kCommon), std::end(kCommon));
        kinds.insert(kinds.end(), own.begin(), own.end());
        return kinds;
      }()) {}

const FaultKind& Faults::kind_named(const std::string& name) const {
  const auto kind =
      std::find_if(kinds_.begin(), kinds_.end(), [&](const FaultKind& row) { return name == row.name; });
  if (kind == kinds_.end()) throw Failure("there is no fault of the kind '" + name + "'");
  return *kind;
}

Fault Faults::fault_from(const Json& written) const {
  if (!written.is_object()) throw Failure("a fault must be a JSON object");
  Json rest = written;
  Fault fault;
  fault.method = taken_text(&rest, "method").value_or("");
  fault.kind = &kind_named(taken_text(&rest, "kind").value_or(""));
  const FaultKind& kind = *fault.kind;
  fault.left = taken_number(&rest, "count", 1, kMostCount);
  fault.number = taken_number(&rest, kind.number, kind.least, kind.most).value_or(kind.number_default);
  fault.text = taken_text(&rest, kind.text).value_or(kind.text_default);
  if (fault.method.empty()) throw Failure("a fault needs a method, or \"*\" for all");
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
  for (const Fault& fault : faults_) result.push_back(written(fault));
  return result;
}

std::optional<Fault> Faults::take(const std::vector<std::string>& methods) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.method == "*" || std::find(methods.begin(), methods.end(), fault.method) != methods.end();
  });
  if (found == faults_.end()) return std::nullopt;
  Fault fault = *found;
  if (found->left && --*found->left == 0) faults_.erase(found);
  return fault;
}

void route_faults(LoopbackServer* server, Faults* faults) {
  constexpr const char* kPath = "/box/fault";
  server->Get(kPath, [faults](const auto&, auto& response) {
    response.set_content(text_of(faults->list()), "application/json");
  });
  server->Post(kPath, [faults](const auto& request, auto&) { faults->add(Json::parse(request.body)); });
  server->Delete(kPath, [faults](const auto&, auto&) { faults->clear(); });
  server->set_exception_handler([](const auto&, auto& response, std::exception_ptr thrown) {
    response.status = kBadRequest;
    try {
      std::rethrow_exception(std::move(thrown));
    } catch (const std::exception& error) {
      response.set_content(std::string(error.what()) + "\n", "text/plain");
    }
  });
}

}  // namespace routerbox
