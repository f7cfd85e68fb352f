#include "commands.h"

#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <set>
#include <sstream>

#include "../box/outer.h"
#include "../console/console.h"
#include "../isolation/guard.h"
#include "../isolation/run_folder.h"
#include "../support/io.h"
#include "../support/places.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "../support/unfinished.h"
#include "../support/whole_number.h"
#include "../trace/log.h"
#include "../trace/trace.h"
#include "../verbs/record.h"
#include "../verbs/table.h"
#include "client.h"
#include "debug.h"
#include "doctor.h"
#include "enter.h"
#include "new.h"
#include "print.h"
#include "test.h"
#include "watch.h"

namespace routerbox {
namespace {

struct Line {
  const Verb& verb;
  std::string name = {};  // of the box
  bool json = false;
  bool cpp = false;  // of a new project
  Json arguments = Json::object();
  std::string as = {};
  LogWish log = {};
  bool watch = false;
  std::vector<std::string> command = {};  // after "--"
};

int call_box(const Line& line) {
  const BoxClient box(line.name);
  const Json result = box.call(line.verb.name, line.arguments);
  std::cout << (line.json ? text_of(result) + "\n" : readable_result(line.verb.name, result)) << std::flush;
  return kDone;
}

int end_box(const Line& line) {
  const BoxClient box(line.name);
  box.end();
  std::cout << (line.json ? text_of({{"box", box.name()}}) : "the box " + box.name() + " has ended") + "\n"
            << std::flush;
  return kDone;
}

void record_command(const Line& line, int status, std::chrono::nanoseconds took, Trace* trace) {
  std::string what = "exec";
  if (!line.as.empty()) what += " --as " + line.as;
  for (const std::string& word : line.command) what += " " + word;
  trace->record(
      {Channel::kLife,
       "author",
       "box",
       what,
       "OK",
       took,
       {{"arguments", {{"as", line.as}, {"command", line.command}}}, {"result", {{"status", status}}}}});
}

int enter_box(const Line& line) {
  const bool shell = std::strcmp(line.verb.name, "shell") == 0;
  if (!shell && line.command.empty())
    throw Failure("there is no command; write routerbox exec [--as PLUGIN] -- COMMAND...", kWrongCommandLine);
  const BoxClient box(line.name);
  const Json place = box.call("enter", {{"as", line.as}});
  const std::vector<std::string> words = shell ? std::vector<std::string>{"bash"} : line.command;
  // Opened here, as the box is entered for good.
  Trace trace(box.folder());
  const auto begin = std::chrono::steady_clock::now();
  const int status = run_in_box(box.process_one(), launch_for(place, words));
  if (!shell) record_command(line, status, std::chrono::steady_clock::now() - begin, &trace);
  return status;
}

int debug(const Line& line) {
  return debug_plugin(BoxClient(line.name), line.arguments.at("plugin"), line.arguments.value("tool", "gdb"),
                      line.command);
}

bool has_ended(pid_t process) {
  return kill(process, 0) != 0 && errno == ESRCH;
}

int start_plugin(const Line& line) {
  if (!line.watch) return call_box(line);
  const BoxClient box(line.name);
  const pid_t process_one = box.process_one();
  const std::string name = line.arguments.at("target");
  std::string program;
  const Json shown = box.call("ps", Json::object());
  for (const Json& row : shown.at("plugins"))
    if (row.at("name") == name || row.at("appid") == name) program = row.at("program");
  if (program.empty())
    throw Failure("only a plug-in's program can be watched, and " + name + " is none", kWrongCommandLine);
  call_box(line);
  watch_program(
      program, [&] { return has_ended(process_one); },
      [&] {
        box.call("restart", {{"target", name}});
        std::cout << name + " runs anew: " + program + " has changed\n" << std::flush;
      });
  return kDone;
}

// By way of the box's folder, which it can see wherever the file lies.
int install_file(const Line& line) {
  const BoxClient box(line.name);
  const std::filesystem::path file = line.arguments.at("file").get<std::string>(),
                              name = "package-" + std::to_string(getpid());
  if (!std::filesystem::is_regular_file(file))
    throw Failure("there is no file " + file.string() + "; routerbox pack makes one", kNo);
  const std::filesystem::path copy = std::filesystem::path(box.folder()) / name;
  const Unfinished passing(copy);
  write_file(copy, read_file(file), 0600);
  const Json result = box.call("install", {{"file", (kBoxFolder / name).string()}});
  std::cout << (line.json ? text_of(result) + "\n" : readable_result("install", result)) << std::flush;
  return kDone;
}

std::vector<std::string> names_in_log(const BoxClient& box) {
  std::set<std::string> names(std::begin(kChannelNames), std::end(kChannelNames));
  const Json running = box.call("ps", Json::object());
  for (const char* kind : {"plugins", "services"})
    for (const Json& row : running.at(kind)) names.insert(row.at("name"));
  return {names.begin(), names.end()};
}

int show_log(const Line& line) {
  const BoxClient box(line.name);
  const pid_t process_one = box.process_one();
  LogWish wish = line.log;
  wish.json = line.json;
  const std::string trace = box.folder() + "/trace.jsonl";
  if (!wish.filters.empty()) check_filters(trace, wish, names_in_log(box));
  print_log(trace, wish, [&] { return has_ended(process_one); });
  return kDone;
}

void print_address(const std::string& address) {
  std::cout << address + "\n" << std::flush;
  write_all(STDERR_FILENO, "routerbox: open it in a browser on this machine; Ctrl-C ends the console\n");
}

void print_address_as_json(const std::string& address) {
  std::cout << text_of({{"address", address}}) + "\n" << std::flush;
}

int open_console(const Line& line) {
  const BoxClient box(line.name);
  const std::string text = line.arguments.value("port", "0");
  const std::optional<uint16_t> port = whole_number<uint16_t>(text);
  if (!port) throw Failure("--port must be a number from 0 to 65535, not '" + text + "'", kWrongCommandLine);
  serve_console({box.name(), *port, line.json ? print_address_as_json : print_address});
}

int record(const Line& line) {
  const BoxClient box(line.name);
  const std::string file = line.arguments.value("file", "");
  if (!file.empty() && std::filesystem::exists(file))
    throw Failure(file + " exists; choose another name or remove it", kNo);
  Json arguments = line.arguments;
  arguments.erase("file");
  Json result = box.call("record", arguments);
  for (const std::string note : result.value("notes", Json::array()))
    std::cerr << "routerbox: " + note + "\n";
  const std::string test = result.at("test").get<std::string>() + (arguments.contains("line") ? "\n" : "");
  if (!file.empty()) write_file(file, test, 0644);
  result["file"] = file;
  if (line.json) std::cout << text_of(result) + "\n" << std::flush;
  if (!line.json && file.empty()) std::cout << test << std::flush;
  if (!line.json && !file.empty())
    std::cout << file + ": " + text_of(result, "verbs") + " verbs\nNow: routerbox test " + file + "\n"
              << std::flush;
  return kDone;
}

int verify(const Line& line) {
  return line.arguments.contains("end") ? end_test(line.name)
                                        : verify_box(BoxClient(line.name), Json::object());
}

int make_new(const Line& line) {
  const Json made = make_project(line.arguments.at("project"), line.cpp ? "cpp" : "c");
  std::cout << (line.json ? text_of(made) + "\n" : readable_result("new", made)) << std::flush;
  return kDone;
}

int show_doctor(const Line& line) {
  const Json result = examine_machine();
  std::cout << (line.json ? text_of(result) + "\n" : readable_result("doctor", result)) << std::flush;
  return result.at("ready") ? kDone : kNo;
}

void describe(CLI::App* app, Line* line, std::map<std::string, std::string>* values) {
  app->set_help_flag();
  if (line->verb.where != Where::kAlone) app->add_option("--name", line->name);
  app->add_flag("--json", line->json);
  if (line->verb.name == std::string("log")) {
    app->add_flag("-f,--follow", line->log.follow);
    app->add_option("filters", line->log.filters);
  }
  if (line->verb.name == std::string("new")) {
    CLI::Option* const c = app->add_flag("--c");
    app->add_flag("--cpp", line->cpp)->excludes(c);
  }
  if (line->verb.name == std::string("shell") || line->verb.name == std::string("exec"))
    app->add_option("--as", line->as);
  if (line->verb.name == std::string("start") || line->verb.name == std::string("restart"))
    app->add_flag("--watch", line->watch);
  for (const Argument& argument : line->verb.arguments) {
    const std::string name = (argument.form == Form::kWord ? "" : "--") + std::string(argument.name);
    if (argument.form == Form::kFlag)
      app->add_flag(name);
    else
      app->add_option(name, (*values)[argument.name])->required(argument.required);
  }
}

// The word "no" before what is expected is the flag --no. All options but --json have a value.
void accept_no(int argc, char** argv) {
  static char flag[] = "--no";
  for (int place = 1; place < argc; ++place) {
    if (std::strcmp(argv[place], "--json") == 0) continue;
    if (std::strncmp(argv[place], "--", 2) == 0) {
      ++place;
      continue;
    }
    if (std::strcmp(argv[place], "no") == 0) argv[place] = flag;
    return;
  }
}

Line parse_line(const Verb& verb, int argc, char** argv) {
  Line line{verb};
  char** const end = argv + argc;
  char** cut = end;
  if (verb.name == std::string("exec") || verb.name == std::string("debug"))
    cut = std::find_if(argv, end, [](const char* word) { return std::strcmp(word, "--") == 0; });
  if (verb.name == std::string("expect")) accept_no(argc, argv);
  if (cut != end) line.command.assign(cut + 1, end);
  CLI::App app;
  std::map<std::string, std::string> values;
  describe(&app, &line, &values);
  try {
    app.parse(static_cast<int>(cut - argv), argv);
  } catch (const CLI::ParseError& error) {
    throw Failure(std::string(error.what()) + "; routerbox " + verb.name + " --help shows how it is used",
                  kWrongCommandLine);
  }
  for (const Argument& argument : verb.arguments) {
    const bool flag = argument.form == Form::kFlag;
    if (app.count((argument.form == Form::kWord ? "" : "--") + std::string(argument.name)) == 0) continue;
    line.arguments[argument.name] = flag ? Json(true) : Json(values[argument.name]);
  }
  return line;
}

int start_box(const Verb& verb, int argc, char** argv) {
  const Options options = read_run_options(argc, argv);
  if (verb.name == std::string("run")) return run_in_front(options);
  if (options.console >= 0)
    throw Failure("up ends before a console would; write routerbox up && routerbox console",
                  kWrongCommandLine);
  if (!options.command.empty())
    throw Failure("up takes no command; write routerbox up && routerbox exec -- COMMAND...",
                  kWrongCommandLine);
  const std::string name = run_in_background(options);
  std::cout << (options.json ? text_of({{"box", name}, {"socket", socket_of(name)}})
                             : "the box " + name + " is up") +
                   "\n"
            << std::flush;
  return kDone;
}

constexpr struct {
  const char* verb;
  int (*run)(const Line& line);
} kOwn[] = {{"down", end_box},         {"shell", enter_box}, {"exec", enter_box},
            {"verify", verify},        {"log", show_log},    {"record", record},
            {"console", open_console}, {"debug", debug},     {"start", start_plugin},
            {"restart", start_plugin}, {"new", make_new},    {"doctor", show_doctor},
            {"install", install_file}};

[[noreturn]] void become_boxpack(int argc, char** argv) {
  const std::string program =
      find_own(own_folder(), "boxpack", "the program that makes archives", "the verb");
  std::vector<std::string> words{"boxpack"};
  words.insert(words.end(), argv + 1, argv + argc);
  execv(program.c_str(), exec_arguments(words).data());
  throw Failure(explain_exec(program, errno), kNotExecutable);
}

bool asks_for_help(int argc, char** argv) {
  for (char** word = argv; word != argv + argc && std::strcmp(*word, "--") != 0; ++word)
    if (std::strcmp(*word, "--help") == 0 || std::strcmp(*word, "-h") == 0) return true;
  return false;
}

}  // namespace

int run_verb(int argc, char** argv) {
  const Verb& verb = verb_named(argv[1]);
  const bool starts = verb.name == std::string("run") || verb.name == std::string("up");
  if (!starts && asks_for_help(argc, argv)) {
    std::cout << help_for(verb) << std::flush;
    return kDone;
  }
  if (starts) return start_box(verb, argc - 1, argv + 1);
  if (verb.name == std::string("pack")) become_boxpack(argc, argv);
  if (verb.name == std::string("test")) return run_tests(argc - 1, argv + 1);
  const Line line = parse_line(verb, argc - 1, argv + 1);
  for (const auto& own : kOwn)
    if (verb.name == std::string(own.verb)) return own.run(line);
  return call_box(line);
}

}  // namespace routerbox
