#include "state.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "../support/failure.h"
#include "../support/io.h"
#include "../support/nearest.h"

namespace routerbox::router {
namespace {

constexpr struct {
  const char* key;
  Json::value_t type;
  bool required;
} kMembers[] = {
    {"WIFIStatus", Json::value_t::array, true},   {"TransmissionRate", Json::value_t::object, true},
    {"WAN", Json::value_t::object, true},         {"DiskInfo", Json::value_t::array, true},
    {"Info", Json::value_t::object, true},        {"faults", Json::value_t::array, false},
    {"DaemonInfo", Json::value_t::object, false}, {"DaemonShell", Json::value_t::object, false},
};

// Only the frame: what is inside may be as wrong as a test wants its router.
void check(const Json& document, const std::string& origin) {
  if (!document.is_object()) throw Failure(origin + " is no JSON object");
  std::vector<std::string> known;
  for (const auto& member : kMembers) {
    known.emplace_back(member.key);
    const auto place = document.find(member.key);
    if (place == document.end() && !member.required) continue;
    if (place == document.end() || place->type() != member.type)
      throw Failure(origin + " needs an " + Json(member.type).type_name() + " \"" + member.key + "\"");
  }
  for (const auto& [key, value] : document.items())
    if (std::find(known.begin(), known.end(), key) == known.end())
      throw Failure(origin + " has a member \"" + key + "\" that no method of the router uses" +
                    advice_for(key, known));
}

Json merge_into_built_in(const std::string& text, const std::string& origin) {
  Json document = Json::parse(kBuiltInState);
  if (text.empty()) return document;
  try {
    const Json own = Json::parse(text);
    if (!own.is_object()) throw Failure(origin + " is no JSON object");
    document.merge_patch(own);
  } catch (const Json::parse_error& error) {
    throw Failure(origin + " is no JSON: " + error.what());
  }
  check(document, origin);
  return document;
}

// Renamed into place, so that a reader finds the old text or the new one, never half of it.
void replace_file(const std::string& file, const std::string& text, mode_t mode) {
  const std::string fresh = file + ".new";
  write_file(fresh, text, mode);
  if (std::rename(fresh.c_str(), file.c_str()) != 0) fail_errno("cannot write " + file);
}

}  // namespace

Json read_state(const std::string& file) {
  const bool exists = !file.empty() && access(file.c_str(), F_OK) == 0;
  return merge_into_built_in(exists ? read_file(file) : "", file);
}

State::State(std::string file, std::string info_file)
    : file_(std::move(file)), info_file_(std::move(info_file)), document_(read_state(file_)) {
  save(document_);
  save_info(document_);
}

Json State::read() const {
  const std::lock_guard lock(mutex_);
  return document_;
}

std::vector<Event> State::change(const std::function<void(Json&)>& change) {
  const std::lock_guard lock(mutex_);
  Json document = document_;
  change(document);
  check(document, "the changed state");
  save(document);
  save_info(document);
  std::vector<Event> events = events_between(document_, document);
  document_ = std::move(document);
  return events;
}

void State::save(const Json& document) const {
  if (!file_.empty()) replace_file(file_, document.dump(2) + "\n", 0644);
}

void State::save_info(const Json& document) const {
  // One line, as the library prints the file when it is asked for the identity.
  if (!info_file_.empty() && document.contains("DaemonInfo"))
    replace_file(info_file_, document["DaemonInfo"].dump(), 0666);
}

std::string uuid_of(const Json& state, const std::string& partition) {
  for (const Json& disk : state.at("DiskInfo"))
    if (disk.is_object() && disk.value("Partition", Json()) == partition) {
      const Json uuid = disk.value("UUID", Json());
      return uuid.is_string() ? uuid.get<std::string>() : std::string();
    }
  return {};
}

std::optional<std::string> daemon_answer(const Json& state, const std::string& question) {
  const Json answer = state.value("DaemonShell", Json::object()).value(question, Json());
  if (!answer.is_string()) return std::nullopt;
  return answer.get<std::string>();
}

}  // namespace routerbox::router
