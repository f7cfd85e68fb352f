#include "subjects.h"

#include <fnmatch.h>

#include <algorithm>

#include "../clients/fault_verbs.h"
#include "../clients/router_client.h"
#include "../support/events.h"
#include "../support/nearest.h"
#include "../trace/log.h"
#include "download_tasks.h"

namespace routerbox {
namespace {

bool like(const std::string& text, const std::string& glob) {
  return fnmatch(glob.c_str(), text.c_str(), 0) == 0;
}

// The line without the blanks that align it.
std::string one_line(const Json& line) {
  const std::string text = readable(line);
  return text.substr(text.find_first_not_of(' '));
}

std::string indent(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

// Throws Failure with the nearest unless it is one of these, or a glob, which may stand for several.
void check_word(const std::string& word, const std::string& what, const std::vector<std::string>& known) {
  const bool glob = word.find_first_of("*?[") != std::string::npos;
  if (!glob && std::find(known.begin(), known.end(), word) == known.end())
    throw Failure("there is no " + what + " '" + word + "'" + advice_for(word, known), kWrongCommandLine);
}

}  // namespace

Pattern pattern_from(const std::string& text) {
  Pattern pattern(text);
  if (!pattern.fault().empty())
    throw Failure("'" + text + "' is no pattern: " + pattern.fault(), kWrongCommandLine);
  return pattern;
}

// `required` and `others` are the names of its arguments besides those that all have.
struct Subjects::Subject {
  const char* name;
  const char* usage;
  std::vector<std::string> required, others;
  std::vector<std::string> channels;  // of the trace, for the context
  bool happens;
  void (Subjects::*check)(const Wanted& wanted) const;
  Look (Subjects::*look)(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next);
};

const std::vector<Subjects::Subject> Subjects::kAll = {
    {"router",
     "METHOD [--from PLUGIN]",
     {"what"},
     {"from"},
     {"router"},
     true,
     &Subjects::check_router,
     &Subjects::look_at_router},
    {"event",
     "[wan|disk|home [SUB]] [--from PLUGIN] [--to PLUGIN]",
     {},
     {"what", "value", "from", "to"},
     {"events"},
     true,
     &Subjects::check_event,
     &Subjects::look_at_event},
    {"object",
     "PLUGIN|NAME",
     {"what"},
     {},
     {"bus", "life"},
     false,
     &Subjects::check_nothing,
     &Subjects::look_at_object},
    {"file",
     "[PLUGIN:]PATH [--size N]",
     {"what"},
     {"size"},
     {"downloads", "files", "life"},
     false,
     &Subjects::check_file,
     &Subjects::look_at_file},
    {"download",
     "STATE [--of PLUGIN]",
     {"what"},
     {"of"},
     {"downloads", "files"},
     false,
     &Subjects::check_download,
     &Subjects::look_at_download},
    {"output",
     "PLUGIN PATTERN",
     {"what", "value"},
     {},
     {"life"},
     true,
     &Subjects::check_output,
     &Subjects::look_at_output},
    {"process",
     "PLUGIN|PROGRAM [--of PLUGIN]",
     {"what"},
     {"of"},
     {"life"},
     false,
     &Subjects::check_nothing,
     &Subjects::look_at_process},
    {"state",
     "PATH VALUE",
     {"what", "value"},
     {},
     {"router", "life"},
     false,
     &Subjects::check_state,
     &Subjects::look_at_state},
};

Subjects::Subjects(const Parts& parts) : parts_(parts), first_lines_(parts.plugins.size()) {}

void Subjects::mark() {
  parts_.trace.mark();
  const std::lock_guard lock(mutex_);
  first_lines_.resize(parts_.plugins.size());
  for (size_t place = 0; place < first_lines_.size(); ++place)
    first_lines_[place] = parts_.plugins.count_lines(place);
}

const Subjects::Subject& Subjects::named(const std::string& name) const {
  std::vector<std::string> names;
  for (const Subject& subject : kAll) {
    if (name == subject.name) return subject;
    names.emplace_back(subject.name);
  }
  throw Failure("'" + name + "' cannot be expected" + advice_for(name, names), kWrongCommandLine);
}

size_t Subjects::plugin_named(const std::string& name) const {
  if (const std::optional<size_t> place = parts_.plugins.find(name)) return *place;
  throw Failure("the box has no plug-in '" + name + "'" + advice_for(name, parts_.plugins.names()),
                kWrongCommandLine);
}

void Subjects::check(const Wanted& wanted) const {
  const Subject& subject = named(wanted.subject);
  const std::string usage = "; write expect " + std::string(subject.name) + " " + subject.usage;
  const struct {
    const char* name;
    const std::string& value;
  } kGiven[] = {{"what", wanted.what}, {"value", wanted.value}, {"from", wanted.from},
                {"to", wanted.to},     {"of", wanted.of},       {"size", wanted.size}};
  for (const auto& given : kGiven) {
    const auto has = [&](const std::vector<std::string>& names) {
      return std::find(names.begin(), names.end(), given.name) != names.end();
    };
    if (given.value.empty() && has(subject.required))
      throw Failure("there is a word too few" + usage, kWrongCommandLine);
    if (!given.value.empty() && !has(subject.required) && !has(subject.others))
      throw Failure("'" + given.value + "' does not belong there" + usage, kWrongCommandLine);
  }
  for (const std::string& plugin : {wanted.from, wanted.to, wanted.of})
    if (!plugin.empty() && plugin != "root") plugin_named(plugin);
  (this->*subject.check)(wanted);
}

bool Subjects::happens(const Wanted& wanted) const {
  return named(wanted.subject).happens;
}

Look Subjects::look(const Wanted& wanted, std::chrono::milliseconds limit, size_t* next) {
  return (this->*named(wanted.subject).look)(wanted, limit, next);
}

std::string Subjects::context(const Wanted& wanted) {
  const std::vector<std::string>& channels = named(wanted.subject).channels;
  std::string text = "the last lines of the trace (" + list_words(channels) + "):\n" +
                     indent(parts_.trace.last(channels, kContextLines));
  if (wanted.subject != "output") return text;
  std::vector<std::string> lines = parts_.plugins.lines_from(plugin_named(wanted.what), 0);
  lines.erase(lines.begin(), lines.end() - static_cast<ptrdiff_t>(std::min(lines.size(), kContextLines)));
  return text + "the last lines of " + wanted.what + ":\n" + indent(lines);
}

void Subjects::check_nothing(const Wanted&) const {}

void Subjects::check_router(const Wanted& wanted) const {
  check_word(wanted.what, "method of the router", methods_of_service("router"));
}

// Plug-ins may send others than the router's.
void Subjects::check_event(const Wanted& wanted) const {
  const std::vector<std::string> known = event_names();
  if (!wanted.what.empty() && !near_ones(wanted.what, known).empty()) check_word(wanted.what, "event", known);
}

void Subjects::check_file(const Wanted& wanted) const {
  host_path(wanted.what);
  if (wanted.size.find_first_not_of("0123456789") != std::string::npos)
    throw Failure("--size needs a number of bytes, not '" + wanted.size + "'", kWrongCommandLine);
}

void Subjects::check_download(const Wanted& wanted) const {
  check_word(wanted.what, "state of a download", kTaskStates);
  if (!parts_.services.has("downloads"))
    throw Failure("the box was started without downloads; write downloads = true in box.toml", kNo);
}

void Subjects::check_output(const Wanted& wanted) const {
  plugin_named(wanted.what);
  pattern_from(wanted.value);
}

void Subjects::check_state(const Wanted& wanted) const {
  RouterClient().state(wanted.what);
}

// Of the lines of a kind, the first that is about `what` and has the sender and receiver wanted; else that which
// differs in the fewest of these.
Look Subjects::look_at_trace(const Wanted& wanted, const TraceReader::Match& is_kind, const std::string& what,
                             size_t* next) {
  const auto score = [&](const Json& line) {
    return int{like(text_of(line, "what"), what)} * 2 +
           int{wanted.from.empty() || text_of(line, "from") == wanted.from} +
           int{wanted.to.empty() || text_of(line, "to") == wanted.to};
  };
  const auto fits = [&](const Json& line) { return is_kind(line) && score(line) == 4; };
  if (const std::optional<Json> line = parts_.trace.find(fits, next)) return {true, one_line(*line)};
  Look look;
  int best = -1;
  parts_.trace.each([&](const Json& line) {
    if (!is_kind(line) || score(line) < best) return;
    best = score(line);
    look.seen = one_line(line);
  });
  return look;
}

Look Subjects::look_at_router(const Wanted& wanted, std::chrono::milliseconds, size_t* next) {
  return look_at_trace(
      wanted, [](const Json& line) { return text_of(line, "channel") == "router"; }, wanted.what, next);
}

// An event has a line for its sending, and one for everybody it was given to.
Look Subjects::look_at_event(const Wanted& wanted, std::chrono::milliseconds, size_t* next) {
  const auto is_kind = [&](const Json& line) {
    return text_of(line, "channel") == "events" && !text_of(line, "what").starts_with("listen for ") &&
           (text_of(line, "result") == "given") == !wanted.to.empty();
  };
  const std::string what = wanted.what.empty()    ? "*"
                           : wanted.value.empty() ? wanted.what + "*"
                                                  : wanted.what + " " + wanted.value;
  return look_at_trace(wanted, is_kind, what, next);
}

Look Subjects::look_at_output(const Wanted& wanted, std::chrono::milliseconds, size_t*) {
  const size_t place = plugin_named(wanted.what);
  const Pattern pattern = pattern_from(wanted.value);
  size_t first = 0;
  {
    const std::lock_guard lock(mutex_);
    if (place < first_lines_.size()) first = first_lines_[place];  // else installed since
  }
  Look look;
  for (const std::string& line : parts_.plugins.lines_from(place, first)) {
    look.seen = line;
    look.found = pattern.fits(line);
    if (look.found) break;
  }
  return look;
}

}  // namespace routerbox
