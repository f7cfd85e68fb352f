#include "box.h"

#include <filesystem>
#include <memory>

#include "../isolation/guard.h"
#include "../plugins/cores.h"
#include "../plugins/debugged.h"
#include "../services/services.h"
#include "../support/places.h"
#include "../support/programs.h"
#include "box_verbs.h"
#include "control.h"
#include "layout.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr Processes::Limit kObjectLimit(10000);
constexpr int kDeadPlugin = 124;

class Box {
 public:
  Box(const Plan& plan, Ends ends, const sigset_t& mask)
      : plan_(plan),
        ends_(std::move(ends)),
        printer_(plan.options.log, static_cast<bool>(ends_.ready)),
        trace_(kBoxFolder),
        processes_(std::move(ends_.outside), mask, printer_),
        services_(processes_, printer_, trace_, plan.services,
                  [this](const std::string& line) { complain(line); }),
        cores_(processes_, trace_, plan.options.project ? plan.folder + "/.box/cores" : "",
               [this](const std::string& line) { complain(line); }),
        plugins_({processes_, printer_, trace_, [this](const std::string& line) { complain(line); },
                  [this](const PluginRun& run, pid_t process, int status) {
                    cores_.collect(run, process, status);
                  }},
                 plan.plugins),
        bus_(processes_, plan.boxbus),
        bus_faults_(processes_, services_, plugins_),
        faults_(services_, bus_faults_),
        expectations_({plugins_, services_, bus_, faults_, cores_}, std::string(kBoxFolder) + "/trace.jsonl"),
        installer_({plan, processes_, plugins_, [this](size_t place) { start_plugin(place); }}) {}

  int run() {
    const int status = processes_.run([this] { return direct(); },
                                      [this](pid_t process, int end) {
                                        plugins_.note_end(process, end);
                                        services_.note_end(process, end);
                                      });
    printer_.flush();
    return status;
  }

 private:
  void complain(const std::string& line) { printer_.print(STDERR_FILENO, "routerbox: " + line); }
  void say(const std::string& line) {
    if (!plan_.options.quiet) complain(line);
  }

  int direct() {
    // However this ends, as their threads need the box's processes.
    const std::unique_ptr<Cores, void (*)(Cores*)> told(&cores_, [](Cores* cores) { cores->wait(); });
    start_control(std::move(ends_.control),
                  box_verbs({plan_, processes_, trace_, plugins_, services_, faults_, expectations_,
                             installer_, [this](size_t place) { start_plugin(place); }}));
    services_.start_all();
    if (!plan_.zelctl.empty()) fill_permission_table();
    for (size_t place = 0; place < plugins_.size(); ++place) start_plugin(place, Patience::kWhileDebugged);
    if (ends_.ready) write_all(ends_.ready.get(), kReady);
    ends_.ready = Descriptor();
    const int status = plan_.command.empty() ? wait_for_end() : run_command();
    processes_.clear_interrupt();
    plugins_.stop_all();
    services_.stop_all();
    return status == 0 && plugins_.deaths() > 0 && !plan_.options.ignore_deaths ? kDeadPlugin : status;
  }

  // As the router does when it starts.
  void fill_permission_table() {
    std::string output;
    const Launch launch{
        plan_.zelctl, {"zelctl", "perm", "init"}, {}, [&](std::string_view piece) { output += piece; }};
    const int status = processes_.wait(processes_.start(launch));
    if (status != 0)
      throw Failure("the permission table was not filled, zelctl perm init ended with status " +
                    std::to_string(status) + ":\n" + output);
  }

  // A verb's client does not wait for ever.
  enum class Patience { kLimited, kWhileDebugged };

  void start_plugin(size_t place, Patience patience = Patience::kLimited) {
    if (!plugins_.start(place)) return;
    const Plugins::Row row = plugins_.row(place);
    if (plan_.options.no_bus || !row.run.has_object) return;
    bool told = false;
    const auto goes_on = [&] {
      if (patience == Patience::kLimited || (row.run.valgrind.empty() && !is_debugged(row.process)))
        return false;
      if (!told) say("waiting for " + row.run.name + ", which is being debugged");
      return told = true;
    };
    if (bus_.wait_for_object(row.run.object(), row.process, kObjectLimit, goes_on) == ObjectWait::kLimit)
      say(row.run.name + " has made no bus object " + row.run.object() + " so far; going on without it");
  }

  int run_command() {
    Launch launch{plan_.command, plan_.options.command, {}, {}};
    emulate(plan_.emulator, &launch);
    if (!plan_.options.as.empty()) launch.uid = package_of(plan_.packages, plan_.options.as).uid;
    const pid_t command = processes_.start(launch);
    processes_.set_target(command);
    try {
      return processes_.wait(command);
    } catch (const Interrupted&) {
      processes_.clear_interrupt();
      processes_.stop({command}, Processes::Limit(2000));
      return processes_.wait(command);
    }
  }

  int wait_for_end() {
    try {
      processes_.wait(getpid());
    } catch (const Interrupted&) {
    }
    return 0;
  }

  const Plan& plan_;
  Ends ends_;
  Printer printer_;
  Trace trace_;
  Processes processes_;
  Services services_;
  Cores cores_;
  Plugins plugins_;
  BusClient bus_;
  BusFaults bus_faults_;
  FaultVerbs faults_;
  Expectations expectations_;
  Installer installer_;
};

PluginRun plugin_from(const Background& wanted, const std::vector<Package>& packages) {
  const Package& package = package_of(packages, wanted.appid);
  return {package.appname,
          package.appid,
          package.appid,
          package.uid,
          package.may_receive_cloud_messages(),
          find_program(wanted.words.front()),
          wanted.words,
          {}};
}

// Of the project's own box they stay from one run to the next; boxes beside it, as tests have them, begin without.
std::string data_folder(const Options& options, const ProjectPlugin& plugin) {
  if (options.name == project_name()) return options.project->folder + "/.box/" + plugin.name;
  return std::string(kBoxFolder) + "/data/" + plugin.name;
}

std::string program_of(const ProjectPlugin& wanted, const Plan& plan) {
  if (!wanted.stub.empty()) return find_own(plan.own, "boxstub", "the program that plays stubs", "");
  const Options& options = plan.options;
  const Project& project = *options.project;
  try {
    return find_program(
        built_program(project, options.build.empty() ? project.build : options.build, wanted.run.front()));
  } catch (const Failure& failure) {
    const std::string advice = options.target.empty()
                                   ? "; is it built?"
                                   : "; to build it, run: " + target_of(project, options.target).make;
    throw Failure(wanted.run_place + ": " + failure.what() + advice, failure.status());
  }
}

std::vector<std::string> stub_words(const std::string& file, const Project& project) {
  std::vector<std::string> words{"boxstub", file};
  for (const StubPeer& peer : peers_among(project.plugins)) words.push_back(peer.name + "=" + peer.appid);
  return words;
}

PluginRun plugin_from(const ProjectPlugin& wanted, const Plan& plan) {
  const Package& package = package_of(plan.packages, wanted.appid);
  return {wanted.name,
          wanted.appid,
          wanted.name,
          package.uid,
          package.may_receive_cloud_messages(),
          program_of(wanted, plan),
          wanted.stub.empty() ? wanted.run : stub_words(wanted.stub, *plan.options.project),
          data_folder(plan.options, wanted),
          std::nullopt,
          wanted.stub,
          wanted.data,
          wanted.ends};
}

std::string find_valgrind() {
  try {
    return find_program("valgrind");
  } catch (const Failure& failure) {
    throw Failure("valgrind is not on this machine; run: sudo apt-get install valgrind", failure.status());
  }
}

void plan_project(Plan* plan) {
  const Project& project = *plan->options.project;
  plan->folder = project.folder;
  plan->packages_text = package_file_of(project);
  plan->packages = parse_packages(plan->packages_text, project.folder + "/box.toml");
  for (const ProjectPlugin& plugin : project.plugins) plan->plugins.push_back(plugin_from(plugin, *plan));
}

}  // namespace

Plan make_plan(const Options& options) {
  Plan plan;
  plan.options = options;
  plan.folder = fs::current_path();
  plan.own = own_folder();
  if (options.project) plan_project(&plan);
  if (!options.packages.empty()) {
    plan.packages_text = read_file(options.packages, "--packages must name a readable file");
    plan.packages = parse_packages(plan.packages_text, options.packages);
  }
  if (!options.permissions.empty())
    plan.permissions_text = read_file(options.permissions, "--permissions must name a readable file");
  if (!options.as.empty()) package_of(plan.packages, options.as);
  for (const FindService find : kServices)
    if (std::optional<Service> service = find(options, plan.own))
      plan.services.push_back(std::move(*service));
  plan.boxbus = find_own(plan.own, "boxbus", "the box's way to its bus", "");
  if (!options.no_perm)
    plan.zelctl =
        find_own(plan.own, "zelctl", "the program that fills the permission table", "it with --no-perm");
  for (const Background& plugin : options.start) plan.plugins.push_back(plugin_from(plugin, plan.packages));
  if (!options.command.empty()) plan.command = find_program(options.command.front());
  const auto emulator = [&](const std::string& program) {
    return emulator_for(program, options.target_roots, plan.own);
  };
  for (PluginRun& plugin : plan.plugins) plugin.emulator = emulator(plugin.program);
  if (options.valgrind) plan.valgrind = find_valgrind();
  for (PluginRun& plugin : plan.plugins)
    if (!plugin.emulator && plugin.stub.empty()) plugin.valgrind = plan.valgrind;
  if (!plan.command.empty()) plan.emulator = emulator(plan.command);
  return plan;
}

int run_box(const Plan& plan, Ends ends, const sigset_t& mask) {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);  // before any thread, so that all inherit it
  clean_environment(plan.options.environment);
  lay_out(plan, ends.folder, [&](const std::string& line) {
    if (!plan.options.quiet) write_all(STDERR_FILENO, "routerbox: " + line + "\n");
  });
  drop_machine_powers();
  return Box(plan, std::move(ends), mask).run();
}

}  // namespace routerbox
