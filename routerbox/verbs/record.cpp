#include "record.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <regex>
#include <set>

#include "../support/events.h"
#include "../support/failure.h"
#include "../support/io.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "table.h"

namespace routerbox {
namespace {

using Words = std::vector<std::string>;

// As long as a test waits for what it expects; what comes later may have another reason.
constexpr double kEffectSeconds = 2;
constexpr size_t kLongestTitle = 60;
constexpr size_t kLongestLine = 80;  // of output that one would write into a test
constexpr size_t kMostLines = 2;     // of a plug-in's output, for one verb
constexpr const char* kSteps[] = {"start", "stop",  "restart", "send",    "event", "wan",   "disk",
                                  "set",   "fault", "mark",    "ability", "exec",  "expect"};

bool was_cut(const std::string& text) {
  static const std::regex kCut(R"(\.\.\. \([0-9]+ bytes\)$)");
  return std::regex_search(text, kCut);
}

// As one writes it: quotes only where the shell needs them.
std::string shell_word(const std::string& text) {
  constexpr const char* kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,./-";
  return !text.empty() && text.find_first_not_of(kPlain) == std::string::npos ? text : quote(text);
}

// An expression for a text that may come at another time: what counts or tells the time may differ.
std::string pattern_of(const std::string& text) {
  std::string pattern;
  for (const char c : was_cut(text) ? text.substr(0, text.rfind("... (")) : text) {
    if (c == '\n') {
      pattern += '.';
      continue;
    }
    if (std::string_view(".[]{}()*+?^$|\\").find(c) != std::string_view::npos) pattern += '\\';
    pattern += c;
  }
  static const std::regex kClock(R"(\b[0-9]{1,2}:[0-9]{2}(:[0-9]{2})?\b)"), kLarge("[0-9]{6,}");
  pattern = std::regex_replace(pattern, kClock, "[0-9:]+");
  pattern = std::regex_replace(pattern, kLarge, "[0-9]+");
  return "^" + pattern + (was_cut(text) ? "" : "$");
}

// ---- What was done ----------------------------------------------------------------------------------------

struct Step {
  double begin = 0, end = 0;
  std::string verb, line;  // as it is written in a test
  std::string command;     // of exec
  std::string event;       // that it sends, as the trace has it; empty: none
  std::vector<std::string> effects;
};

bool is_authors(const Json& line) {
  return text_of(line, "channel") == "life" && text_of(line, "from") == "author" &&
         text_of(line, "to") == "box";
}

std::string verb_of(const Json& line) {
  const std::string what = text_of(line, "what");
  return what.substr(0, what.find(' '));
}

// The arguments in the order in which one types them.
std::string typed(const std::string& verb, const Json& arguments) {
  const bool none = verb == "expect" && arguments.contains("no");
  std::string text = "box " + verb + (none ? " no" : "");
  for (const Argument& argument : verb_named(verb).arguments) {
    if (!arguments.contains(argument.name) || (none && argument.name == std::string("no"))) continue;
    const std::string option = std::string(" --") + argument.name;
    if (argument.form == Form::kFlag && arguments.at(argument.name) == Json(true)) text += option;
    if (argument.form == Form::kFlag) continue;
    if (argument.form == Form::kOption) text += option;
    text += " " + shell_word(text_of(arguments, argument.name));
  }
  return text;
}

std::string expected_answer(const Json& arguments, const Json& result) {
  const Json answer = result.value("answer", Json());
  if (!answer.is_string() || arguments.contains("expect")) return {};
  return " --expect " + shell_word(pattern_of(answer));
}

std::string command_line(const Json& arguments) {
  const std::string as = text_of(arguments, "as");
  std::string text = "box exec" + (as.empty() ? "" : " --as " + shell_word(as)) + " --";
  for (const Json& word : arguments.at("command")) text += " " + shell_word(word.get<std::string>());
  return text;
}

// A process has another number the next time.
bool names_process(const std::string& command) {
  static const std::regex kNumber(R"(\bkill\b.*\s[0-9]+\b|/proc/[0-9]+|\s(-p|--pid)[ =]?[0-9]+\b)");
  return std::regex_search(command, kNumber);
}

std::string comment(std::string text, const std::string& why) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return "# " + text + " is left out: " + why;
}

// A command's own status is as it was.
std::string typed_command(const Json& arguments, const Json& result) {
  const std::string text = command_line(arguments), status = text_of(result, "status");
  if (names_process(text)) return comment(text, "in a test the process has another number");
  return status == "0" ? text : "run " + text + "\n  [ \"$status\" -eq " + status + " ]";
}

// Why the line can be no step of a test; empty when it can.
std::string fault_of_step(const Json& line, const Json& arguments) {
  const std::string verb = verb_of(line);
  if (std::find(std::begin(kSteps), std::end(kSteps), verb) == std::end(kSteps))
    return "is nothing that a test does";
  const std::string result = text_of(line, "result");
  if (result != "OK") return "failed: " + result.substr(0, result.find('\n'));
  if (!arguments.is_object()) return "was too long for the trace";
  for (const Json& argument : arguments)
    if (argument.is_string() && was_cut(argument)) return "was too long for the trace";
  return {};
}

std::string event_sent(const Json& result) {
  for (const EventName& event : kRouterEvents)
    if (result.value("event", -1) == event.number)
      return std::string(event.name) + " " + text_of(result, "subevent");
  return {};
}

std::optional<Step> step_from(const Json& line, Words* notes) {
  const Json details = line.value("details", Json::object());
  const Json arguments = details.is_object() ? details.value("arguments", Json()) : Json();
  if (const std::string fault = fault_of_step(line, arguments); !fault.empty()) {
    notes->push_back(text_of(line, "what") + " is left out; it " + fault);
    return std::nullopt;
  }
  Step step;
  step.end = line.value("at", 0.0);
  step.begin = step.end - line.value("ms", 0.0) / 1000;
  step.verb = verb_of(line);
  const Json result = details.value("result", Json::object());
  step.event = event_sent(result);
  if (step.verb == "exec") step.command = command_line(arguments);
  step.line = step.verb == "exec" ? typed_command(arguments, result)
                                  : typed(step.verb, arguments) + expected_answer(arguments, result);
  return step;
}

// ---- What it ended ----------------------------------------------------------------------------------------

// So soon the box notes an end.
constexpr double kEndSeconds = 0.5;

// The plug-in or service that the line reports to have ended by itself; empty: none.
std::string ended_in(const Json& line) {
  if (text_of(line, "channel") != "life" || text_of(line, "what") != "end") return {};
  const std::string from = text_of(line, "from");
  return from == "box" ? text_of(line, "to") : from;
}

// The command that was typed last before a line of the trace, and may have brought it about.
Step* command_behind(const Json& line, std::vector<Step>* steps) {
  const double at = line.value("at", 0.0);
  const auto found = std::find_if(steps->rbegin(), steps->rend(), [&](const Step& step) {
    return step.verb == "exec" && step.begin <= at && at <= step.end + kEndSeconds;
  });
  return found != steps->rend() ? &*found : nullptr;
}

// A test forgives no death: what a command has ended is stopped there. A plug-in that died otherwise will do so again,
// or the test's author knows better.
void stop_what_was_ended(const std::vector<Json>& trace, std::vector<Step>* steps, Words* notes) {
  std::map<Step*, std::set<std::string>> ended;
  for (const Json& line : trace) {
    const std::string name = ended_in(line), how = text_of(line, "result");
    if (name.empty()) continue;
    if (Step* const step = command_behind(line, steps))
      ended[step].insert(name);
    else if (text_of(line, "from") == name && how != "with status 0")
      notes->push_back(name + " has ended, " + how + "; the test fails where it does so again");
  }
  for (const auto& [step, names] : ended) {
    step->line = comment(step->command, "it ended what is stopped here");
    for (const std::string& name : names) step->line += "\n  box stop " + shell_word(name);
  }
  for (Step& step : *steps)
    if (step.line.starts_with("#")) step.effects.clear();
}

// ---- What was seen ----------------------------------------------------------------------------------------

bool is_plugin(const std::string& name) {
  return !name.empty() && name != "root" && name != "bus" && name != "?" && name != "box" &&
         name != "author" && shell_word(name) == name;
}

// What a plug-in says, but for the library's own messages, which begin with a bracket. A long number may be another the
// next time.
std::string output_effect(const std::string& plugin, const std::string& text) {
  static const std::regex kLong("[0-9]{4,}");
  if (text.find_first_not_of(" \t\r") == std::string::npos || text.size() > kLongestLine ||
      text.front() == '[')
    return {};
  return "output " + plugin + " " + shell_word(std::regex_replace(pattern_of(text), kLong, "[0-9]+"));
}

// An event has the name that its sender gave it. Empty: one that no line of a test can hold.
std::string event_effect(const std::string& what, const std::string& whose) {
  if (std::any_of(what.begin(), what.end(), [](unsigned char c) { return c < ' '; })) return {};
  const size_t end = what.find(' ');
  return "event " + shell_word(what.substr(0, end)) +
         (end == std::string::npos ? "" : " " + shell_word(what.substr(end + 1))) + whose;
}

// As it is expected; empty: nothing that a test can look for.
std::string effect_of(const Json& line) {
  const std::string channel = text_of(line, "channel"), what = text_of(line, "what"),
                    from = text_of(line, "from"), to = text_of(line, "to");
  if (channel == "router" && is_plugin(from)) return "router " + shell_word(what) + " --from " + from;
  if (channel == "output") return output_effect(from, what);
  if (channel == "downloads" && line.contains("state"))
    return "download " + text_of(line, "state") + " --of " + from;
  if (channel == "bus" && what.starts_with("make the object ") && is_plugin(from)) return "object " + from;
  if (channel != "events" || what.starts_with("listen for ")) return {};
  if (text_of(line, "result") == "given") return is_plugin(to) ? event_effect(what, " --to " + to) : "";
  return is_plugin(from) ? event_effect(what, " --from " + from) : "";
}

void add_effect(Step* step, const std::string& effect) {
  Words& list = step->effects;
  const std::string kind =
      effect.substr(0, effect.find(' ', effect.find(' ') + 1));  // such as "output weather"
  const auto same_kind = [&](const std::string& other) { return other.starts_with(kind + " "); };
  const bool enough = effect.starts_with("output ") && std::count_if(list.begin(), list.end(), same_kind) >=
                                                           static_cast<ptrdiff_t>(kMostLines);
  if (!enough && std::find(list.begin(), list.end(), effect) == list.end()) list.push_back(effect);
}

// What was seen while a verb was carried out, or soon after it, comes of it; its event may be given out when the next
// one has begun.
Step* step_of(std::vector<Step>* steps, const Json& line) {
  const double at = line.value("at", 0.0);
  const bool given = text_of(line, "channel") == "events" && text_of(line, "from") == "root";
  Step *latest = nullptr, *sender = nullptr;
  for (Step& step : *steps) {
    if (step.begin > at) break;
    if (step.verb == "expect") continue;  // it does nothing
    latest = &step;
    if (given && step.event == text_of(line, "what")) sender = &step;
  }
  Step* const found = sender != nullptr ? sender : latest;
  return found != nullptr && at <= found->end + kEffectSeconds ? found : nullptr;
}

bool seen_by_mark(const std::string& effect) {
  return !effect.starts_with("object ") && !effect.starts_with("download ");
}

// Puts a mark before each verb of which something is expected that was seen before: a test would see the earlier one.
void add_marks(const std::vector<Json>& trace, std::vector<Step>* steps) {
  std::set<std::string> seen;
  size_t next = 0;
  const auto see_until = [&](double at) {
    for (; next < trace.size() && trace[next].value("at", 0.0) < at; ++next)
      if (const std::string effect = effect_of(trace[next]); !effect.empty()) seen.insert(effect);
  };
  for (Step& step : *steps) {
    see_until(step.begin);
    const bool again = std::any_of(step.effects.begin(), step.effects.end(), [&](const std::string& effect) {
      return seen_by_mark(effect) && seen.contains(effect);
    });
    if (step.verb == "mark" || again) seen.clear();
    if (again && step.verb != "mark") step.line = "box mark\n  " + step.line;
  }
}

// What is typed as an expectation, until something else is done, need not be added.
void leave_out_typed(std::vector<Step>* steps) {
  Step* doing = nullptr;
  for (Step& step : *steps) {
    if (step.verb != "expect")
      doing = &step;
    else if (doing != nullptr)
      std::erase_if(doing->effects,
                    [&](const std::string& effect) { return step.line == "box expect " + effect; });
  }
}

// As the verb that sends it; empty: it is none of root's.
std::string message_of(const Json& line) {
  const Json details = line.value("details", Json());
  if (text_of(line, "what") != "send_cmd" || !details.is_object() || !is_plugin(text_of(line, "to")))
    return {};
  const std::string message = text_of(details.value("data", Json::object()), "msg"),
                    answer = text_of(details.value("answer", Json::object()), "description");
  if (text_of(line, "from") != "root" || message.empty() || was_cut(message)) return {};
  return typed("send", {{"plugin", text_of(line, "to")}, {"text", message}}) +
         (answer.empty() ? "" : " --expect " + shell_word(pattern_of(answer)));
}

// ---- The file ---------------------------------------------------------------------------------------------

std::string made_title(const std::vector<Step>& steps) {
  std::string title;
  for (const Step& step : steps) {
    if (step.verb == "mark" || step.verb == "expect") continue;
    const size_t begin = step.line.find("box ", step.line.starts_with("box mark\n") ? 9 : 0) + 4;
    const std::string words = step.line.substr(begin, step.line.find(" --", begin) - begin);
    if (title.size() + words.size() > kLongestTitle) return title.empty() ? step.verb : title + ", ...";
    title += (title.empty() ? "" : ", ") + words;
  }
  return title;
}

// Within the quotes of a test's name.
std::string quoted_title(std::string title) {
  title = std::regex_replace(title, std::regex(R"('\\'')"), "'");
  title = std::regex_replace(title, std::regex(R"([\\"$`\n])"), " ");
  return "\"" + title + "\"";
}

std::string clear_of_unplayed(const Json& faults) {
  std::set<std::string> services;
  for (const Json& fault : faults)
    if (fault.value("played", 0) < fault.value("count", 1)) services.insert(text_of(fault, "service"));
  std::string text;
  for (const std::string& service : services) text += "  box fault " + service + " clear\n";
  return text;
}

// Where all of a plug-in's downloads have come to the same, that is what became of each.
void add_state(Json* line, const Seen& seen) {
  if (text_of(*line, "channel") != "downloads") return;
  const auto states = seen.downloads.find(text_of(*line, "from"));
  const bool adds = text_of(*line, "what").find("aria2.addUri") != std::string::npos;
  if (adds && states != seen.downloads.end() && states->second.size() == 1)
    (*line)["state"] = *states->second.begin();
}

// What a debugger makes of a plug-in is nothing that a test can have again, nor are the stop before it and the start
// behind.
void leave_out_debugging(std::vector<Json>* lines) {
  for (const Json& debugged : std::vector<Json>(*lines)) {
    if (!is_authors(debugged) || verb_of(debugged) != "debug") continue;
    const double end = debugged.value("at", 0.0), begin = end - debugged.value("ms", 0.0) / 1000;
    std::erase_if(*lines, [&](const Json& line) {
      const double at = line.value("at", 0.0);
      return begin < at && at < end;
    });
  }
}

// The others are not kept: a trace may have very many.
std::vector<Json> lines_for_test(const std::string& trace_file, double since, const Seen& seen) {
  std::ifstream trace(trace_file);
  if (!trace) fail_errno("cannot read " + trace_file);
  std::vector<Json> lines;
  for (std::string text; std::getline(trace, text);) {
    Json line = Json::parse(text, nullptr, false);
    if (!line.is_object()) continue;
    add_state(&line, seen);
    if (line.value("at", 0.0) >= since &&
        (is_authors(line) || !effect_of(line).empty() || !ended_in(line).empty()))
      lines.push_back(line);
  }
  for (const Json& line : seen.output)
    if (line.at("at") >= since) lines.push_back(line);
  leave_out_debugging(&lines);
  std::stable_sort(lines.begin(), lines.end(), [](const Json& one, const Json& other) {
    return one.value("at", 0.0) < other.value("at", 0.0);
  });
  return lines;
}

}  // namespace

std::string test_step(const Json& line) {
  if (!line.is_object())
    throw Failure("the line is no JSON object; routerbox log --json has them", kWrongCommandLine);
  Words notes;
  if (is_authors(line))
    if (const std::optional<Step> step = step_from(line, &notes)) return step->line;
  if (const std::string message = message_of(line); !message.empty()) return message;
  if (const std::string effect = effect_of(line); !effect.empty()) return "box expect " + effect;
  throw Failure(notes.empty() ? "a test can neither do nor expect this" : notes.front(), kNo);
}

Recording record_test(const std::string& trace_file, double since, const Seen& seen,
                      const std::string& title) {
  const std::vector<Json> trace = lines_for_test(trace_file, since, seen);
  Recording recording;
  std::vector<Step> steps;
  for (const Json& line : trace)
    if (is_authors(line))
      if (const std::optional<Step> step = step_from(line, &recording.notes)) steps.push_back(*step);
  if (steps.empty()) return recording;
  for (const Json& line : trace)
    if (const std::string effect = effect_of(line); !effect.empty())
      if (Step* const step = step_of(&steps, line)) add_effect(step, effect);
  leave_out_typed(&steps);
  stop_what_was_ended(trace, &steps, &recording.notes);
  add_marks(trace, &steps);
  recording.verbs = steps.size();
  recording.test = "load box\n\n@test " + quoted_title(title.empty() ? made_title(steps) : title) + " {\n";
  for (const Step& step : steps) {
    recording.test += "  " + step.line + "\n";
    for (const std::string& effect : step.effects) recording.test += "  box expect " + effect + "\n";
  }
  recording.test += clear_of_unplayed(seen.faults) + "}\n";
  return recording;
}

}  // namespace routerbox
