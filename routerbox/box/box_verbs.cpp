#include "box_verbs.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <mutex>
#include <thread>

#include "../clients/router_client.h"
#include "../expect/download_tasks.h"
#include "../support/events.h"
#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"
#include "../support/whole_number.h"
#include "../trace/peers.h"
#include "../verbs/record.h"
#include "ability_verb.h"

namespace routerbox {
namespace {

constexpr const char* kServiceNames[] = {"router", "downloads", "files", "hosts", "bus"};

// The memory that only this process has, in KiB; 0 when it has just ended.
long memory_kib(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string key; file >> key;) {
    long value = 0;
    if (key == "VmRSS:" && file >> value) return value;
  }
  return 0;
}

template <class Row>
Json state_of(const Row& row) {
  using State = decltype(row.state);
  if (row.state == State::kStopped) return {{"state", "stopped"}};
  if (row.state == State::kEnded) return {{"state", "ended"}, {"status", row.status}};
  return {{"state", "running"}, {"pid", row.process}, {"memory_kib", memory_kib(row.process)}};
}

std::string text_in(const Json& arguments, const char* name) {
  const Json value = arguments.value(name, Json(""));
  if (!value.is_string()) throw Failure(std::string("'") + name + "' must be a text", kWrongCommandLine);
  return value.get<std::string>();
}

int number_in(const Json& arguments, const char* name) {
  const Json value = arguments.value(name, Json());
  if (value.is_number_integer()) return value.get<int>();
  const std::string text = value.is_string() ? value.get<std::string>() : "";
  if (const std::optional<int> number = whole_number<int>(text)) return *number;
  throw Failure(std::string("'") + name + "' must be a whole number, not '" + text + "'", kWrongCommandLine);
}

// One of these words; throws Failure with the nearest.
std::string word_in(const Json& arguments, const char* name, const std::vector<std::string>& known) {
  const std::string word = text_in(arguments, name);
  if (std::find(known.begin(), known.end(), word) == known.end())
    throw Failure("'" + word + "' is no " + name + advice_for(word, known), kWrongCommandLine);
  return word;
}

class BoxVerbs {
 public:
  explicit BoxVerbs(const BoxParts& parts) : parts_(parts) {}

  Json carry_out(const std::string& verb, const Json& arguments) {
    for (const Row& row : kVerbs)
      if (verb == row.name)
        return row.changes && !only_shows(verb, arguments) ? run_and_trace(row, arguments)
                                                           : (this->*row.run)(arguments);
    throw Failure("a box has no verb '" + verb + "'", kWrongCommandLine);
  }

 private:
  // A verb that changes something, here without what it would be.
  static bool only_shows(const std::string& verb, const Json& arguments) {
    return verb == "ability" && !arguments.contains("ability");
  }

  struct Row {
    const char* name;
    Json (BoxVerbs::*run)(const Json& arguments);
    bool changes;  // the box, so that the trace has it
  };
  static const Row kVerbs[23];

  Json run_and_trace(const Row& row, const Json& arguments) {
    TraceLine line{Channel::kLife, "author", "box", row.name, "OK", {}, {{"arguments", arguments}}};
    for (const Json& argument : arguments)
      line.what += " " + (argument.is_string() ? argument.get<std::string>() : argument.dump());
    const auto begin = std::chrono::steady_clock::now();
    const auto record = [&] {
      line.took = std::chrono::steady_clock::now() - begin;
      parts_.trace.record(line);
    };
    try {
      const Json result = (this->*row.run)(arguments);
      line.details["result"] = result;
      record();
      return result;
    } catch (const Failure& failure) {
      line.result = failure.what();
      record();
      throw;
    }
  }

  size_t plugin_named(const std::string& name) const {
    if (const std::optional<size_t> place = parts_.plugins.find(name)) return *place;
    throw Failure("the box has no plug-in '" + name + "'" + advice_for(name, parts_.plugins.names()), kNo);
  }

  void need_router(const char* verb) const {
    if (!parts_.services.has("router"))
      throw Failure(
          std::string(verb) +
              " needs the box's router; start the box with --router, or with router = true in box.toml",
          kNo);
  }

  Json ps(const Json&) {
    Json plugins = Json::array(), services = Json::array();
    for (size_t place = 0; place < parts_.plugins.size(); ++place) {
      const Plugins::Row row = parts_.plugins.row(place);
      Json shown = {{"name", row.run.name},
                    {"appid", row.run.appid},
                    {"uid", row.run.uid},
                    {"program", row.run.program}};
      shown.update(state_of(row));
      plugins.push_back(shown);
    }
    for (const Services::Row& row : parts_.services.list()) {
      Json shown = {{"name", row.name}, {"program", row.program}};
      shown.update(state_of(row));
      services.push_back(shown);
    }
    return {{"box", parts_.plan.box},
            {"folder", parts_.plan.folder},
            {"at", std::round((monotonic_seconds() - read_roster(kBoxFolder).started) * 1e6) / 1e6},
            {"plugins", plugins},
            {"services", services}};
  }

  // What a command does not bring along itself.
  Json box_environment() const {
    Json settings = {"PATH=" + std::string(std::getenv("PATH"))};
    for (const std::string& setting : parts_.plan.options.environment) {
      const std::string name = setting.substr(0, setting.find('='));
      if (const char* const value = std::getenv(name.c_str())) settings.push_back(name + "=" + value);
    }
    return settings;
  }

  // What `exec` and `shell` need to know of a plug-in, or of root.
  Json enter(const Json& arguments) {
    const std::string as = text_in(arguments, "as");
    Json result = {{"folder", parts_.plan.folder},
                   {"environment", box_environment()},
                   {"target_roots", parts_.plan.options.target_roots},
                   {"data", ""},
                   {"uid", nullptr},
                   {"name", "root"}};
    if (as.empty()) return result;
    if (const std::optional<size_t> place = parts_.plugins.find(as)) {
      const PluginRun run = parts_.plugins.row(*place).run;
      result["uid"] = run.uid;
      result["name"] = run.name;
      result["data"] = run.data;
      result["program"] = run.program;
      result["words"] = run.words;
      result["emulator"] = run.emulator ? Json{{"qemu", run.emulator->qemu},
                                               {"root", run.emulator->root},
                                               {"libraries", run.emulator->libraries}}
                                        : Json();
      return result;
    }
    for (const Package& package : parts_.plan.packages) {
      if (package.appid != as && package.appname != as) continue;
      result["uid"] = package.uid;
      result["name"] = package.appname;
      return result;
    }
    plugin_named(as);
    return result;
  }

  Json start(const Json& arguments) { return change(arguments, false, true); }
  Json stop(const Json& arguments) { return change(arguments, true, false); }
  Json restart(const Json& arguments) { return change(arguments, true, true); }

  // One change at a time, so that two clients do not start what the other stops.
  Json change(const Json& arguments, bool stop, bool start) {
    const std::string name = text_in(arguments, "target");
    const std::lock_guard lock(changing_);
    if (parts_.services.has(name)) {
      const bool stopped = stop && parts_.services.stop(name);
      const bool started = start && parts_.services.start(name);
      return {{"target", name}, {"stopped", stopped}, {"started", started}};
    }
    for (const char* service : kServiceNames)
      if (name == service)
        throw Failure("the box was started without " + name + "; routerbox run --help lists the options",
                      kNo);
    const size_t place = plugin_named(name);
    const bool stopped = stop && parts_.plugins.stop(place);
    const bool running = parts_.plugins.row(place).state == Plugins::State::kRunning;
    if (start && !running) parts_.start_plugin(place);
    return {
        {"target", parts_.plugins.row(place).run.name}, {"stopped", stopped}, {"started", start && !running}};
  }

  Json send(const Json& arguments) {
    const PluginRun plugin = parts_.plugins.row(plugin_named(text_in(arguments, "plugin"))).run;
    if (arguments.value("background", Json(false)) != Json(true))
      return parts_.expectations.send(plugin, arguments);
    // Like the control's own threads it may outlive the box by a moment.
    std::thread([this, plugin, arguments] {
      try {
        parts_.expectations.send(plugin, arguments);
      } catch (const std::exception& error) {
        parts_.trace.record({Channel::kLife, "box", plugin.name, "send", error.what(), {}, {}});
      }
    }).detach();
    return {{"background", true}};
  }

  Json expect(const Json& arguments) { return parts_.expectations.expect(arguments); }
  Json mark(const Json& arguments) { return parts_.expectations.mark(arguments); }
  Json verify(const Json& arguments) { return parts_.expectations.verify(arguments); }

  Json event(const Json& arguments) {
    const std::string name = word_in(arguments, "event", event_names());
    const int sub = number_in(arguments, "sub");
    const EventName& row = *find_event(name);
    if (const std::string fault = fault_of_subevent(row, sub); !fault.empty())
      throw Failure(fault, kWrongCommandLine);
    std::optional<std::string> text;
    if (arguments.contains("text")) text = text_in(arguments, "text");
    parts_.expectations.send_event(row.number, sub, text);
    return {{"event", row.number}, {"subevent", sub}};
  }

  // What a router would announce is announced.
  Json announce(const char* event, int sub, const std::string& text) {
    Json result = {{"state", "changed"}};
    result.update(this->event({{"event", event}, {"sub", sub}, {"text", text}}));
    return result;
  }

  Json wan(const Json& arguments) {
    need_router("wan");
    const bool up = word_in(arguments, "state", {"up", "down"}) == "up";
    RouterClient().change({{"WAN", {{"WAN_NET", up ? 1 : 0}}}});
    return announce("wan", up ? 256 : 257, up ? "up" : "down");
  }

  Json disk(const Json& arguments) {
    need_router("disk");
    const bool add = word_in(arguments, "change", {"add", "remove"}) == "add";
    const std::string name = text_in(arguments, "name");
    RouterClient().change_disk(name, add);
    return announce("disk", add ? 0 : 1, name);
  }

  Json set(const Json& arguments) {
    need_router("set");
    return RouterClient().set(text_in(arguments, "path"), arguments.at("value"));
  }

  Json state(const Json& arguments) {
    need_router("state");
    return {{"state", RouterClient().state(text_in(arguments, "path"))}};
  }

  Json fault(const Json& arguments) { return parts_.faults.fault(arguments); }
  Json faults(const Json& arguments) { return parts_.faults.faults(arguments); }

  Json ability(const Json& arguments) {
    const PluginRun plugin = parts_.plugins.row(plugin_named(text_in(arguments, "plugin"))).run;
    std::unique_lock lock(changing_, std::defer_lock);
    if (!only_shows("ability", arguments)) lock.lock();  // a look does not wait for a plug-in that starts
    return change_ability(parts_.plan, parts_.processes, plugin, text_in(arguments, "ability"),
                          text_in(arguments, "change"));
  }

  Json output(const Json& arguments) {
    constexpr int kLines = 100;
    const size_t place = plugin_named(text_in(arguments, "plugin"));
    const int wanted = arguments.contains("lines") ? number_in(arguments, "lines") : kLines;
    if (wanted < 0) throw Failure("'lines' must not be negative", kWrongCommandLine);
    const size_t written = parts_.plugins.count_lines(place);
    const size_t first = written - std::min(written, static_cast<size_t>(wanted));
    return {{"plugin", parts_.plugins.row(place).run.name},
            {"lines", parts_.plugins.lines_from(place, first)}};
  }

  Json downloads(const Json&) {
    if (!parts_.services.has("downloads"))
      throw Failure("the box was started without downloads; routerbox run --help lists the options", kNo);
    const std::optional<std::vector<DownloadTask>> tasks = download_tasks();
    if (!tasks)
      throw Failure("the download daemon does not answer; routerbox restart downloads starts it anew",
                    kFailed);
    Json shown = Json::array();
    for (const DownloadTask& task : *tasks) {
      const std::optional<size_t> plugin = parts_.plugins.find(task.appid);
      shown.push_back({{"id", task.id},
                       {"plugin", plugin ? parts_.plugins.row(*plugin).run.name : task.appid},
                       {"state", task.state},
                       {"completed", task.completed},
                       {"total", task.total},
                       {"bytes_per_second", task.bytes_per_second},
                       {"file", task.file},
                       {"url", task.url},
                       {"error", task.error}});
    }
    return {{"downloads", shown}};
  }

  Json download(const Json& arguments) {
    change_download(text_in(arguments, "change"), text_in(arguments, "id"));
    return downloads(arguments);
  }

  // What is not in the trace.
  Seen seen() const {
    Seen seen{parts_.faults.faults_of_running(), {}, {}};
    const double started = read_roster(kBoxFolder).started;
    for (size_t place = 0; place < parts_.plugins.size(); ++place) {
      const std::string name = parts_.plugins.row(place).run.name;
      for (const OutputLine& line : parts_.plugins.output(place))
        seen.output.push_back(
            {{"at", line.at - started}, {"channel", "output"}, {"from", name}, {"what", line.text}});
    }
    if (!parts_.services.runs("downloads")) return seen;
    for (const DownloadTask& task : download_tasks().value_or(std::vector<DownloadTask>()))
      if (const std::optional<size_t> plugin = parts_.plugins.find(task.appid))
        seen.downloads[parts_.plugins.row(*plugin).run.name].insert(task.state);
    return seen;
  }

  Json record(const Json& arguments) {
    if (arguments.contains("line"))
      return {{"test", test_step(Json::parse(text_in(arguments, "line"), nullptr, false))}};
    const std::string since = text_of(arguments, "since");
    const std::optional<double> begin = since.empty() ? 0 : whole_number<double>(since);
    if (!begin) throw Failure("'since' must be a number of seconds, not '" + since + "'", kWrongCommandLine);
    const Recording recording =
        record_test(std::string(kBoxFolder) + "/trace.jsonl", *begin, seen(), text_in(arguments, "title"));
    if (recording.test.empty())
      throw Failure("nothing was done by hand in the box so far, such as: routerbox wan down", kNo);
    return {{"test", recording.test}, {"verbs", recording.verbs}, {"notes", recording.notes}};
  }

  Json install(const Json& arguments) {
    const std::lock_guard lock(changing_);
    return parts_.installer.install(text_in(arguments, "file"));
  }

  Json down(const Json&) {
    parts_.processes.interrupt(SIGTERM);
    return {{"box", parts_.plan.box}};
  }

  const BoxParts parts_;
  std::mutex changing_;
};

const BoxVerbs::Row BoxVerbs::kVerbs[23] = {
    {"ps", &BoxVerbs::ps, false},
    {"enter", &BoxVerbs::enter, false},
    {"start", &BoxVerbs::start, true},
    {"stop", &BoxVerbs::stop, true},
    {"restart", &BoxVerbs::restart, true},
    {"send", &BoxVerbs::send, true},
    {"event", &BoxVerbs::event, true},
    {"wan", &BoxVerbs::wan, true},
    {"disk", &BoxVerbs::disk, true},
    {"set", &BoxVerbs::set, true},
    {"state", &BoxVerbs::state, false},
    {"fault", &BoxVerbs::fault, true},
    {"faults", &BoxVerbs::faults, false},
    {"down", &BoxVerbs::down, true},
    {"expect", &BoxVerbs::expect, true},
    {"mark", &BoxVerbs::mark, true},
    {"verify", &BoxVerbs::verify, false},
    {"install", &BoxVerbs::install, true},
    {"ability", &BoxVerbs::ability, true},
    {"output", &BoxVerbs::output, false},
    {"downloads", &BoxVerbs::downloads, false},
    {"download", &BoxVerbs::download, true},
    {"record", &BoxVerbs::record, false},
};

}  // namespace

ControlHandler box_verbs(const BoxParts& parts) {
  const auto verbs = std::make_shared<BoxVerbs>(parts);
  return
      [verbs](const std::string& verb, const Json& arguments) { return verbs->carry_out(verb, arguments); };
}

}  // namespace routerbox
