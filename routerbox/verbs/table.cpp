#include "table.h"

#include <algorithm>
#include <iterator>

#include "../support/failure.h"
#include "../support/nearest.h"
#include "../support/status.h"
#include "schema.h"

namespace routerbox {
namespace {

constexpr Argument kPlugin = {"plugin", true, "its name or appid"};
constexpr Argument kWithin = {"within", false, "how long to wait, such as 500ms or 2s", Form::kOption};
constexpr Argument kTarget = {"target", true, "a plug-in, or router, downloads, files, hosts, bus"};

const std::vector<Verb> kVerbs = {
    {"run",
     "[OPTIONS] [-- COMMAND...]",
     {},
     "Runs the box of ./box.toml in front, until COMMAND or Ctrl-C ends it",
     "routerbox run -- bash",
     Where::kHere},
    {"up",
     "[OPTIONS]",
     {},
     "Runs the box of ./box.toml in the background",
     "routerbox up && routerbox ps",
     Where::kHere},
    {"down", "", {}, "Ends a box", "routerbox down", Where::kBox},
    {"ps", "", {}, "Shows plug-ins and services: users, states, memory", "routerbox ps --json", Where::kBox},
    {"shell", "[--as PLUGIN]", {}, "Opens a shell in the box", "routerbox shell --as weather", Where::kHere},
    {"exec",
     "[--as PLUGIN] -- COMMAND...",
     {},
     "Runs a command in the box; its exit status is COMMAND's",
     "routerbox exec --as weather -- id -u",
     Where::kHere},
    {"enter",
     "[AS]",
     {{"as", false, "a plug-in; root of the box otherwise"}},
     "Tells with which user, folder and environment a command runs in the box",
     "routerbox enter weather --json",
     Where::kBox},
    {"start",
     "TARGET [--watch]",
     {kTarget},
     "Starts a plug-in or service; --watch: anew whenever its program changes",
     "routerbox start weather",
     Where::kBox},
    {"stop", "TARGET", {kTarget}, "Stops a plug-in or service", "routerbox stop downloads", Where::kBox},
    {"restart",
     "TARGET [--watch]",
     {kTarget},
     "Stops a plug-in or service, if it runs, and starts it; --watch: again whenever its program changes",
     "routerbox restart weather",
     Where::kBox},
    {"send",
     "PLUGIN TEXT [--expect PATTERN] [--within TIME] [--background]",
     {kPlugin,
      {"text", true, "the message"},
      {"expect", false, "what the answer must look like: an expression as of grep -E", Form::kOption},
      kWithin,
      {"background", false, "does not wait for the answer", Form::kFlag}},
     "Sends a cloud message and prints the answer",
     "routerbox send weather 'Is it raining?'",
     Where::kBox},
    {"expect",
     "[no] SUBJECT [WORD [WORD]] [--from PLUGIN] [--to PLUGIN] [--of PLUGIN] [--size N] [--within TIME]",
     {{"subject", true, "router, event, object, file, download, output, process or state"},
      {"what", false, "which: a method, an event, a plug-in or object, a file, a state, a program, a path"},
      {"value", false, "of an event its number, of output what a line looks like, of the state the value"},
      {"from", false, "who sent it", Form::kOption},
      {"to", false, "who was given the event", Form::kOption},
      {"of", false, "whose download or process it is", Form::kOption},
      {"size", false, "of the file, in bytes", Form::kOption},
      {"no", false, "there is none, and none comes (written as the first word)", Form::kFlag},
      kWithin},
     "Waits until something is so, or has happened since the start or the last mark; 5s unless told, with "
     "`no` 300ms",
     "routerbox expect router query_router_wan_status --from weather --within 2s",
     Where::kBox},
    {"mark",
     "",
     {},
     "Lets later expectations see only what happens from now on",
     "routerbox mark",
     Where::kBox},
    {"verify",
     "[--end]",
     {{"end", false, "stops the plug-ins before, and ends the box and what its test left after",
       Form::kFlag}},
     "Tells whether every plug-in lives, none has crashed or been reported, and all faults were played",
     "routerbox verify",
     Where::kBox},
    {"test",
     "[FILE|FOLDER] [-k PATTERN] [--jobs N] [--target NAME] [--valgrind] [--junit FILE]",
     {},
     "Runs the project's tests/*.bats, each test with a box of its own; --json: how many there were, and "
     "failed",
     "routerbox test -k outage",
     Where::kAlone},
    {"record",
     "[FILE] [--title TEXT] [--since SECONDS] [--line JSON]",
     {{"file", false, "to write, such as tests/outage.bats; standard output otherwise", Form::kWord, false},
      {"title", false, "of the test; made of the verbs otherwise", Form::kOption},
      {"since", false, "leaves out what came before, in seconds since the box's start", Form::kOption},
      {"line", false, "one line of log --json: only its step", Form::kOption}},
     "Writes what was done by hand in the box since its start, and what was seen, as a test",
     "routerbox record tests/outage.bats --title 'tells of an outage'",
     Where::kBox},
    {"event",
     "wan|disk|home SUB [TEXT]",
     {{"event", true, "wan, disk or home"},
      {"sub", true, "256 or 257; 0 or 1; 512"},
      {"text", false, "what it says"}},
     "Sends an event to all plug-ins that listen",
     "routerbox event disk 0 sda1",
     Where::kBox},
    {"wan",
     "up|down",
     {{"state", true, "up or down"}},
     "Switches the WAN link, in the router's state and with its event (256 up, 257 down)",
     "routerbox wan down",
     Where::kBox},
    {"disk",
     "add|remove NAME",
     {{"change", true, "add or remove"}, {"name", true, "a partition, such as sda1"}},
     "Adds or removes a disk, in the router's state and with its event (0 added, 1 removed)",
     "routerbox disk remove sda1",
     Where::kBox},
    {"set",
     "PATH VALUE",
     {{"path", true, "a member of the state, such as WAN.WAN_IP"}, {"value", true, "JSON, or a text"}},
     "Changes the router's state",
     "routerbox set WAN.WAN_IP 203.0.113.99",
     Where::kBox},
    {"state",
     "[PATH]",
     {{"path", false, "a member of the state; all of it otherwise"}},
     "Shows the router's state",
     "routerbox state WAN",
     Where::kBox},
    {"fault",
     "router|downloads|files|hosts|bus METHOD KIND [once|COUNT]",
     {{"service", true, "router, downloads, files, hosts or bus"},
      {"method", true,
       "a method, * for all; of hosts a name; of the bus a plug-in or *; or clear, which takes all back"},
      {"kind", false,
       "router, downloads, files, hosts: delay, hang, cut, garbage, http500, ...; bus: stop, end, late, "
       "drop"},
      {"count", false, "once, or how many times; until it is cleared otherwise"}},
     "Makes a server misbehave",
     "routerbox fault router query_disk_info delay:9s once",
     Where::kBox},
    {"faults",
     "[router|downloads|files|hosts|bus]",
     {{"service", false, "one of them; all otherwise"}},
     "Shows the faults that are armed, and how often each was played",
     "routerbox faults",
     Where::kBox},
    {"ability",
     "PLUGIN [ABILITY on|off]",
     {kPlugin,
      {"ability", false, "its name, such as wan, or its number"},
      {"change", false, "on or off; nothing is changed without"}},
     "Shows a plug-in's abilities in the permission table in force, or changes one",
     "routerbox ability weather wan off",
     Where::kBox},
    {"output",
     "PLUGIN [--lines N]",
     {kPlugin, {"lines", false, "how many at most; 100 otherwise", Form::kOption}},
     "Shows the last lines that a plug-in wrote",
     "routerbox output weather --lines 20",
     Where::kBox},
    {"downloads",
     "",
     {},
     "Shows the download daemon's tasks: whose, how far, from where",
     "routerbox downloads --json",
     Where::kBox},
    {"download",
     "pause|resume|delete ID",
     {{"change", true, "pause, resume or delete"}, {"id", true, "as downloads shows it"}},
     "Pauses, resumes or deletes a download; a finished one goes from the list",
     "routerbox download pause 2089b05ecca3d829",
     Where::kBox},
    {"pack",
     "[PLUGIN] [--target mipsel] [--output FILE]",
     {{"plugin", false, "its name in box.toml; may be left out where there is but one"}},
     "Packs a plug-in of ./box.toml: its program, its data and its row of the package file",
     "routerbox pack weather",
     Where::kAlone},
    {"install",
     "FILE",
     {{"file", true, "an archive of routerbox pack; over the control socket its path in the box"}},
     "Puts a packed plug-in into the box, as the router's package manager would, and starts it",
     "routerbox install weather-x86_64.tar.gz",
     Where::kBox},
    {"debug",
     "PLUGIN [gdb|valgrind|strace] [-- OPTIONS...]",
     {kPlugin, {"tool", false, "gdb, valgrind or strace; gdb otherwise"}},
     "Runs a plug-in under a debugger, as its user and in its folder; OPTIONS are the debugger's",
     "routerbox debug weather gdb -- -ex 'break main' -ex run",
     Where::kHere},
    {"new",
     "PROJECT [--c|--cpp]",
     {{"project", true, "the folder to make; its name is the plug-in's"}},
     "Makes a project with a plug-in that builds and runs at once",
     "routerbox new weather --cpp",
     Where::kAlone},
    {"doctor",
     "",
     {},
     "Shows what this machine lacks for the box, and how to get it",
     "routerbox doctor --json",
     Where::kAlone},
    {"console",
     "[--port PORT]",
     {{"port", false, "to serve it at; any that is free otherwise", Form::kOption}},
     "Serves a page for the browser on this machine that shows the box and has its verbs, until Ctrl-C",
     "routerbox console --port 8090",
     Where::kHere},
    {"log",
     "[-f] [CHANNEL|PLUGIN...]",
     {},
     "Shows what happened: bus, events, router, downloads, files, life",
     "routerbox log -f weather",
     Where::kHere},
};

}  // namespace

const std::vector<Verb>& verbs() {
  return kVerbs;
}

const Verb& verb_named(const std::string& name) {
  const auto found =
      std::find_if(verbs().begin(), verbs().end(), [&](const Verb& verb) { return verb.name == name; });
  if (found != verbs().end()) return *found;
  std::vector<std::string> names;
  for (const Verb& verb : verbs()) names.emplace_back(verb.name);
  throw Failure("there is no verb '" + name + "'" + advice_for(name, names), kWrongCommandLine);
}

void check_call(const std::string& name, const Json& arguments) {
  const Verb& verb = verb_named(name);
  if (verb.where != Where::kBox)
    throw Failure("the verb '" + name + "' is one of the program routerbox, not of a box", kWrongCommandLine);
  std::vector<std::string> names;
  for (const Argument& argument : verb.arguments) {
    if (!argument.box) continue;
    names.emplace_back(argument.name);
    if (argument.required && !arguments.contains(argument.name))
      throw Failure(name + " needs the argument '" + argument.name + "': " + argument.help,
                    kWrongCommandLine);
  }
  for (const auto& [key, value] : arguments.items())
    if (std::find(names.begin(), names.end(), key) == names.end())
      throw Failure(name + " has no argument '" + key + "'" +
                        (names.empty() ? ", it has none" : advice_for(key, names)),
                    kWrongCommandLine);
}

Json verbs_as_json() {
  Json all = Json::array();
  for (const Verb& verb : verbs()) {
    if (verb.where != Where::kBox) continue;
    Json arguments = Json::array();
    for (const Argument& argument : verb.arguments)
      if (argument.box)
        arguments.push_back({{"name", argument.name},
                             {"required", argument.required},
                             {"help", argument.help},
                             {"form", kFormNames[static_cast<int>(argument.form)]}});
    all.push_back({{"verb", verb.name},
                   {"arguments", arguments},
                   {"result", result_schema(verb.name)},
                   {"help", verb.help},
                   {"example", verb.example}});
  }
  return all;
}

}  // namespace routerbox
