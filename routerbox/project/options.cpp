#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "../support/failure.h"
#include "../support/places.h"

namespace routerbox {
namespace {

constexpr const char* kProjectFile = "box.toml";
constexpr const char* kDescription =
    "Runs COMMAND in a private router: /etc/norva, /tmp, /var/run, loopback, System V IPC and process ids\n"
    "are the box's own and vanish with it. Works as root, or as a user with subordinate ids.";
constexpr const char* kFooter =
    "Exit status: COMMAND's (128 + signal number when a signal ended it), 125 when the box failed,\n"
    "126 when a program cannot be executed, 127 when it was not found.\n"
    "124 when a plug-in died and COMMAND gave 0.\n"
    "The box sees the machine read-only, without homes, /mnt, /opt, /tmp and hardware; what can be changed\n"
    "is the current folder and what --keep names.";

class Usage : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "Usage: routerbox [OPTIONS] -- COMMAND [ARGUMENT...]\n";
  }
};

Background background_from(const std::string& text) {
  std::vector<std::string> words = CLI::detail::split_up(text);
  if (words.size() < 2)
    throw Failure("--start '" + text + "' has no program; write --start \"APPID PROGRAM ARGUMENTS...\"");
  Background result{words.front(), {}};
  result.words.assign(words.begin() + 1, words.end());
  return result;
}

OutsideHost host_from(const std::string& text, const std::vector<OutsideHost>& earlier) {
  const size_t sign = text.find('=');
  if (sign == std::string::npos)
    throw Failure("--host '" + text + "' has no folder; write --host api.weather.example=FOLDER");
  const OutsideHost host{text.substr(0, sign),
                         std::filesystem::absolute(text.substr(sign + 1)).lexically_normal()};
  if (!is_host_name(host.name)) throw Failure("--host: '" + host.name + "' " + kNoHostName);
  if (!std::filesystem::is_directory(host.folder))
    throw Failure("--host " + host.name + " needs a folder, and " + host.folder + " is none");
  for (const OutsideHost& other : earlier)
    if (other.name == host.name) throw Failure("--host " + host.name + " is there twice");
  return host;
}

// Texts of options that are taken apart later.
struct Texts {
  std::vector<std::string> start;
  std::vector<std::string> hosts;
};

void add_plugin_options(CLI::App* app, Options* options, Texts* texts) {
  app->add_option("--name", options->name,
                  "Name of the box, for the verbs (default: of the project's folder)");
  app->add_option("--packages", options->packages, "Package file, becomes /etc/norva/packages.json");
  app->add_option("--permissions", options->permissions,
                  "Permission file, becomes /etc/norva/permissions.json (default: the standard abilities)");
  app->add_option("--start", texts->start,
                  "\"APPID PROGRAM ARGUMENTS...\": plug-in to run in the background under its own uid, its\n"
                  "output lines prefixed; with ability 2 its bus object is waited for (repeatable)")
      ->take_all()
      ->allow_extra_args(false);
  app->add_option("--as", options->as, "Run COMMAND under the uid of this APPID (default: root of the box)");
}

// Options whose value may be left out: that they are there says something.
struct Servers {
  CLI::Option* router;
  CLI::Option* downloads;
  CLI::Option* files;
};

Servers add_server_options(CLI::App* app, Options* options, Texts* texts) {
  CLI::Option* const router =
      app->add_option("--router", options->router_state,
                      "Start the router's management interface on port 14000, with a blkid that knows its\n"
                      "partitions, its daemon's script and information file, and busybox's tools.\n"
                      "STATE.json is copied into the box (default: a built-in state)")
          ->expected(0, 1)
          ->type_name("[STATE.json]");
  app->add_option("--router-log", options->router_log,
                  "File that gets a line for every request to it (default: " + std::string(kRequestLog) + ")")
      ->needs(router);
  CLI::Option* const downloads =
      app->add_option(
             "--downloads", options->downloads_folder,
             "Start the router's download daemon (aria2) on port 6800, as root of the box; DIR keeps its\n"
             "tasks from one box to the next (default: none is kept)")
          ->expected(0, 1)
          ->type_name("[DIR]");
  CLI::Option* const files =
      app->add_option("--files", options->files_folder,
                      "Start a server to download from on port 8080: /files/NAME (of DIR), /bytes/N,\n"
                      "/slow/RATE/N, /drop/K/N, /status/CODE, /redirect/CODE?to=URL, /hang")
          ->expected(0, 1)
          ->type_name("[DIR]");
  app->add_option("--host", texts->hosts,
                  "NAME=DIR: NAME resolves in the box and answers over HTTP and HTTPS from DIR (repeatable)")
      ->allow_extra_args(false);
  return {router, downloads, files};
}

void add_project_options(CLI::App* app, Options* options) {
  CLI::Option* const target = app->add_option(
      "--target", options->target, "Run the plug-ins of ./box.toml as they are built for it, such as mipsel");
  app->add_option("--build", options->build,
                  "Folder in which the plug-ins of ./box.toml are built (default: as the file says)")
      ->check(CLI::ExistingDirectory)
      ->transform([](const std::string& folder) { return std::filesystem::absolute(folder).string(); })
      ->excludes(target);
  app->add_flag("--valgrind", options->valgrind, "Run the plug-ins of ./box.toml under valgrind");
}

void add_box_options(CLI::App* app, Options* options) {
  app->add_option("--target-root", options->target_roots,
                  "Folder with loader and libraries of a program for another processor, which qemu runs\n"
                  "(default: this build's sysroot, or /usr/mipsel-linux-gnu and the like; repeatable)")
      ->check(CLI::ExistingDirectory)
      ->transform([](const std::string& folder) { return std::filesystem::absolute(folder).string(); })
      ->allow_extra_args(false);
  app->add_option("--keep", options->keep,
                  "Path that the box shows at its place, and can change (repeatable)")
      ->allow_extra_args(false);
  app->add_option("--env", options->environment,
                  "NAME to pass of this environment, or NAME=VALUE to set (repeatable)")
      ->allow_extra_args(false);
  app->add_option("--bus", options->bus,
                  "PROGRAM that is the bus's broker (default: hostbusd beside routerbox)");
  app->add_flag("--no-bus", options->no_bus, "Start no broker");
  app->add_flag("--no-perm", options->no_perm, "Leave the permission table unmade");
  app->add_option("--console", options->console,
                  "Serve a page for the browser that shows the box, at this port (default: any that is free)")
      ->expected(0, 1)
      ->check(CLI::Range(0, 65535).description(""))
      ->type_name("[PORT]");
  app->add_option("--log", options->log, "File that gets the lines of plug-ins and services too");
  app->add_flag("--ignore-deaths", options->ignore_deaths,
                "End with COMMAND's status also when a plug-in has died (otherwise 124 in place of 0)");
  app->add_flag("--json", options->json, "With the verb up: its result as JSON");
  app->add_flag("-q,--quiet", options->quiet, "No lines of the box's own, except failures");
}

// Returns the words behind "--", which are cut off so that nothing in COMMAND is ever taken for an option of the box.
std::vector<std::string> parse_up_to_command(CLI::App* app, int argc, char** argv) {
  char** const end = argv + argc;
  char** const cut = std::find_if(argv, end, [](const char* word) { return std::strcmp(word, "--") == 0; });
  try {
    app->parse(static_cast<int>(cut - argv), argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) std::exit(app->exit(error));
    throw Failure(std::string(error.what()) + "; routerbox --help lists the options");
  }
  return cut != end ? std::vector<std::string>(cut + 1, end) : std::vector<std::string>();
}

Options parse(int argc, char** argv) {
  Options options;
  Texts texts;
  CLI::App app(kDescription, "routerbox");
  app.formatter(std::make_shared<Usage>());
  app.footer(kFooter);
  add_plugin_options(&app, &options, &texts);
  const Servers servers = add_server_options(&app, &options, &texts);
  add_box_options(&app, &options);
  add_project_options(&app, &options);
  options.command = parse_up_to_command(&app, argc, argv);
  options.router = servers.router->count() > 0;
  options.downloads = servers.downloads->count() > 0;
  options.files = servers.files->count() > 0;
  for (const std::string& text : texts.start) options.start.push_back(background_from(text));
  for (const std::string& text : texts.hosts) options.hosts.push_back(host_from(text, options.hosts));
  return options;
}

// What the options do not say, the project does.
void take_project(Options* options) {
  if (!std::filesystem::exists(kProjectFile) || !options->packages.empty()) return;
  options->project = read_project(kProjectFile);
  const Project& project = *options->project;
  if (!options->target.empty()) options->build = target_of(project, options->target).build;
  const struct {
    const Wish& wish;
    bool& wanted;
    std::string& path;
  } kWishes[] = {{project.router, options->router, options->router_state},
                 {project.downloads, options->downloads, options->downloads_folder},
                 {project.files, options->files, options->files_folder}};
  if (options->hosts.empty()) options->hosts = project.hosts;
  for (const auto& row : kWishes) {
    if (row.wanted || !row.wish.wanted) continue;
    row.wanted = true;
    row.path = row.wish.path;
  }
}

}  // namespace

Options read_options(int argc, char** argv) {
  Options options = parse(argc, argv);
  if (options.command.empty())
    throw Failure("there is no command to run; write routerbox [OPTIONS] -- COMMAND [ARGUMENT...]");
  return options;
}

Options read_run_options(int argc, char** argv) {
  Options options = parse(argc, argv);
  take_project(&options);
  if (options.name.empty()) options.name = project_name();
  return options;
}

std::string project_name() {
  if (!std::filesystem::exists(kProjectFile)) return {};
  std::string name = std::filesystem::current_path().filename();
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '-';
  return name.substr(0, 40);
}

}  // namespace routerbox
