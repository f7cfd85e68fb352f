#include "expectations.h"

#include <thread>

#include "../support/duration.h"

namespace routerbox {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kWithin(5000), kQuiet(300), kAnswerWithin(10000), kLongest(50000), kTraceWithin(300);
constexpr milliseconds kBetweenLooks(10);

bool flag_in(const Json& arguments, const char* name) {
  return arguments.value(name, Json(false)) == Json(true);
}

Wanted wanted_from(const Json& arguments) {
  Wanted wanted;
  wanted.none = flag_in(arguments, "no");
  wanted.within = duration_in(arguments, "within", wanted.none ? kQuiet : kWithin);
  const struct {
    const char* name;
    std::string& value;
  } kTexts[] = {{"subject", wanted.subject}, {"what", wanted.what}, {"value", wanted.value},
                {"from", wanted.from},       {"to", wanted.to},     {"of", wanted.of},
                {"size", wanted.size}};
  for (const auto& text : kTexts) text.value = text_of(arguments, text.name);
  return wanted;
}

std::string time_text(milliseconds time) {
  const auto ms = time.count();
  return ms % 1000 == 0 ? std::to_string(ms / 1000) + " s" : std::to_string(ms) + " ms";
}

std::string words_of(const Wanted& wanted) {
  std::string words = (wanted.none ? "no " : "") + wanted.subject;
  for (const std::string& word : {wanted.what, wanted.value})
    if (!word.empty()) words += " " + word;
  const struct {
    const char* name;
    const std::string& value;
  } kOptions[] = {{"from", wanted.from}, {"to", wanted.to}, {"of", wanted.of}, {"size", wanted.size}};
  for (const auto& option : kOptions)
    if (!option.value.empty()) words += std::string(" --") + option.name + " " + option.value;
  return words;
}

milliseconds since(Clock::time_point begin) {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
}

std::string describe(const char* what, const std::string& expected, const std::string& seen) {
  return std::string(what) + "\n  expected  " + expected + "\n  seen      " + seen + "\n";
}

}  // namespace

milliseconds duration_in(const Json& arguments, const char* name, milliseconds otherwise) {
  if (!arguments.contains(name)) return otherwise;
  const std::string text = text_of(arguments, name);
  const std::optional<milliseconds> time = duration_from(text);
  if (!time || *time > kLongest)
    throw Failure("'" + text + "' is no time of up to 50s; write 500ms or 2s", kWrongCommandLine);
  return *time;
}

Expectations::Expectations(const Parts& parts, const std::string& trace_file)
    : parts_(parts), trace_(trace_file), subjects_({parts.plugins, parts.services, parts.bus, trace_}) {}

Json Expectations::mark(const Json&) {
  subjects_.mark();
  return Json::object();
}

Json Expectations::expect(const Json& arguments) {
  const Wanted wanted = wanted_from(arguments);
  subjects_.check(wanted);
  return wanted.none ? wait_for_none(wanted) : wait_for(wanted);
}

Json Expectations::wait_for(const Wanted& wanted) {
  const auto begin = Clock::now();
  size_t next = 0;
  while (true) {
    const milliseconds left = wanted.within - since(begin);
    const Look look = subjects_.look(wanted, left, &next);
    if (look.found) return {{"seen", look.seen}, {"ms", since(begin).count()}};
    if (since(begin) >= wanted.within)
      throw Failure(describe("it is not so", words_of(wanted) + ", within " + time_text(wanted.within),
                             look.seen.empty() ? "nothing like it" : "nearest to it: " + look.seen) +
                        subjects_.context(wanted),
                    kNo);
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

// What happens may not have happened, and does not for the quiet time; a state may not be at its end.
Json Expectations::wait_for_none(const Wanted& wanted) {
  const auto begin = Clock::now();
  size_t next = 0;
  const bool at_any_time = subjects_.happens(wanted);
  if (!at_any_time) std::this_thread::sleep_for(wanted.within);
  do {
    if (const Look look = subjects_.look(wanted, milliseconds(0), &next); look.found)
      throw Failure(
          describe("it is so", words_of(wanted) + ", with a quiet time of " + time_text(wanted.within),
                   look.seen) +
              subjects_.context(wanted),
          kNo);
    std::this_thread::sleep_for(kBetweenLooks);
  } while (since(begin) < wanted.within);
  return {{"seen", nullptr}, {"ms", since(begin).count()}};
}

std::string Expectations::last_messages() {
  std::string text = "the last lines of the trace (bus, life):\n";
  for (const std::string& line : trace_.last({"bus", "life"}, kContextLines)) text += "  " + line + "\n";
  return text;
}

// A plug-in that has just started answers nothing until it has set its handler; only then has it heard the message.
Json Expectations::ask(const PluginRun& plugin, const std::string& text, const Pattern& pattern,
                       milliseconds within) {
  const auto begin = Clock::now();
  while (true) {
    const Json answer = parts_.bus.send(plugin, text, within - since(begin));
    if (answer.at("answer") != "" || pattern.fits("") || since(begin) + kBetweenLooks > within) return answer;
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

// Who has an answer looks at the trace next, whose lines of the bus are written by a process of its own, a moment
// later; with brokers that show nothing, never.
void Expectations::let_trace_follow(const TraceReader::Match& fits, size_t next) {
  const auto begin = Clock::now();
  while (since(begin) < kTraceWithin && !trace_.find(fits, &next)) std::this_thread::sleep_for(kBetweenLooks);
}

void Expectations::send_event(int event, int subevent, const std::optional<std::string>& text) {
  const size_t trace_before = trace_.end();
  parts_.bus.send_event(event, subevent, text);
  // Who it was given to stands before. Not by its sender, whom not every broker's frames tell.
  const Json::json_pointer event_place("/details/data/event"), subevent_place("/details/data/subevent");
  const auto is_sent = [&](const Json& line) {
    return text_of(line, "channel") == "events" && text_of(line, "to") == "bus" &&
           line.value(event_place, Json()) == event && line.value(subevent_place, Json()) == subevent;
  };
  let_trace_follow(is_sent, trace_before);
}

Json Expectations::send(const PluginRun& plugin, const Json& arguments) {
  const milliseconds within = duration_in(arguments, "within", kAnswerWithin);
  const std::string text = text_of(arguments, "text"), expected = text_of(arguments, "expect");
  const Pattern pattern = pattern_from(expected);
  const std::string wanted = (expected.empty() ? "an answer" : "an answer like '" + expected + "'") + " of " +
                             plugin.name + " to '" + text + "', within " + time_text(within);
  Json answer;
  const size_t trace_before = trace_.end();
  try {
    answer = ask(plugin, text, pattern, within);
    const auto is_message = [&](const Json& line) {
      return text_of(line, "what") == "send_cmd" && text_of(line, "to") == plugin.name;
    };
    let_trace_follow(is_message, trace_before);
  } catch (const Failure& failure) {
    if (expected.empty() && !arguments.contains("within")) throw;
    throw Failure(describe("no answer", wanted, failure.what()) + last_messages(), failure.status());
  }
  if (expected.empty()) return answer;
  const bool has_text = answer.at("answer").is_string();
  const std::string given = has_text ? answer.at("answer").get<std::string>() : text_of(answer, "meaning");
  if (!has_text || !pattern.fits(given))
    throw Failure(
        describe("another answer", wanted, given.empty() ? "an empty one" : given) + last_messages(), kNo);
  return answer;
}

// What is under way when a test ends may still meet them.
Json Expectations::unplayed_faults() const {
  const auto begin = Clock::now();
  while (true) {
    Json unplayed = Json::array();
    for (const Json& fault : parts_.faults.faults_of_running())
      if (fault.value("played", 0) < fault.value("count", 1)) unplayed.push_back(fault);
    if (unplayed.empty() || since(begin) > kWithin) return unplayed;
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

Json Expectations::verify(const Json& arguments) {
  const Json unplayed = unplayed_faults();
  if (flag_in(arguments, "end")) parts_.plugins.stop_all();
  parts_.cores.wait();
  Json problems = Json::array();
  for (size_t place = 0; place < parts_.plugins.size(); ++place) {
    const Plugins::Row row = parts_.plugins.row(place);
    if (row.state == Plugins::State::kEnded && (row.status != 0 || !row.run.ends))
      problems.push_back(row.run.name + " has ended, " + describe_end(row.status));
    else if (row.crashes > 0)
      problems.push_back(row.run.name + " has crashed, before it was started again");
    if (row.reported) problems.push_back("a sanitizer or valgrind reports a fault of " + row.run.name);
  }
  for (const Json& fault : unplayed)
    problems.push_back("the fault " + text_of(fault, "service") + " " + text_of(fault, "method") + " " +
                       text_of(fault, "kind") + " was played " + text_of(fault, "played") + " times of " +
                       std::to_string(fault.value("count", 1)));
  return {{"problems", problems}};
}

}  // namespace routerbox
