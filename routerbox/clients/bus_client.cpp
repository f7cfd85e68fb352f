#include "bus_client.h"

#include "../support/status.h"

namespace routerbox {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Processes::Limit kBetweenLooks(20);
constexpr Processes::Limit kAnswerLimit(10000);  // the bus's own is 8 seconds

[[noreturn]] void report_silent_broker() {
  throw Failure("the broker does not answer; routerbox restart bus starts it anew", kTimedOut);
}

}  // namespace

ObjectWait BusClient::wait_for_object(const std::string& name, pid_t owner, std::chrono::milliseconds limit,
                                      const std::function<bool()>& goes_on) {
  Launch launch{program_, {"boxbus", "wait", name}, {}, [](std::string_view) {}};
  const pid_t finder = processes_.start(launch);
  auto end = Clock::now() + limit;
  while (!processes_.wait(finder, kBetweenLooks)) {
    const bool ended = processes_.end_of(owner).has_value();
    if (!ended && Clock::now() < end) continue;
    if (!ended && goes_on()) {
      end = Clock::now() + limit;
      continue;
    }
    processes_.signal(finder, SIGKILL);
    return ended ? ObjectWait::kOwnerEnded : ObjectWait::kLimit;
  }
  return ObjectWait::kFound;
}

std::optional<BusClient::Outcome> BusClient::run(const std::vector<std::string>& words,
                                                 std::chrono::milliseconds limit) {
  std::string output;
  Launch launch{program_, {"boxbus"}, {}, {}};
  launch.words.insert(launch.words.end(), words.begin(), words.end());
  launch.output = [&output](std::string_view piece) { output += piece; };
  const pid_t process = processes_.start(launch);
  const std::optional<int> status = processes_.wait(process, limit);
  if (!status) {
    // Waited for, so that nothing more is written to `output`.
    processes_.signal(process, SIGKILL);
    processes_.wait(process);
    return std::nullopt;
  }
  return Outcome{*status, output};
}

Json BusClient::send(const PluginRun& plugin, const std::string& text, std::chrono::milliseconds limit) {
  const auto begin = Clock::now();
  const std::optional<Outcome> ended = run({"send", plugin.object(), text}, limit);
  if (!ended && limit >= kAnswerLimit) report_silent_broker();
  if (!ended) throw Failure(plugin.name + " gave no answer in this time", kTimedOut);
  const Outcome& outcome = *ended;
  if (outcome.status == kNo)
    throw Failure(
        plugin.name + " has no object " + plugin.object() + " on the bus; routerbox ps shows whether it runs",
        kNo);
  if (outcome.status == kTimedOut) throw Failure(plugin.name + " gave no answer within 8 seconds", kTimedOut);
  Json answer = Json::parse(outcome.output, nullptr, false);
  if (outcome.status != kDone || !answer.is_object()) throw Failure(outcome.output, kFailed);
  answer["ms"] = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
  return answer;
}

void BusClient::send_event(int event, int subevent, const std::optional<std::string>& text) {
  std::vector<std::string> words{"event", std::to_string(event), std::to_string(subevent)};
  if (text) words.push_back(*text);
  const std::optional<Outcome> ended = run(words, kAnswerLimit);
  if (!ended) report_silent_broker();
  if (const Outcome& outcome = *ended; outcome.status != kDone) throw Failure(outcome.output, kFailed);
}

}  // namespace routerbox
