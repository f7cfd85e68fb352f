#include "project.h"

#include <zel/perm.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "../support/failure.h"
#include "../support/json.h"
#include "../support/nearest.h"
#include "stub_file.h"
#include "value.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kFirstUid = 10001;
constexpr int64_t kLastUid = 4294967294;  // the next one means "no change" to the system calls
constexpr size_t kLongestName = 31;       // it becomes a folder and an account

// Words that the box's verbs use for something else.
constexpr const char* kTaken[] = {"router", "downloads", "files", "hosts", "bus",
                                  "events", "life",      "box",   "root",  "author"};

struct AbilityName {
  const char* name;
  perm_ability number;
};
constexpr AbilityName kAbilities[] = {
    {"download", ability_download},
    {"cloud_communication", ability_cloud_communication},
    {"control_device", ability_control_device},
    {"notify_send", ability_notify_send},
    {"notify_rcv", ability_notify_rcv},
    {"system", ability_system},
    {"wan", ability_wan},
    {"wifi", ability_wifi},
    {"station", ability_station},
    {"qos", ability_qos},
    {"firewall", ability_firewall},
    {"senior", ability_senior},
    {"safe", ability_safe},
    {"disk", ability_disk},
    {"control_plug", ability_control_plug},
};
static_assert(std::size(kAbilities) == PERM_ABILITY_COUNT);

uint32_t ability_bit(const Value& value) {
  if (value.is_number()) return 1U << (value.number(1, PERM_ABILITY_COUNT) - 1);
  const std::string given = value.text();
  constexpr std::string_view kPrefix = "ability_";
  const std::string name = given.starts_with(kPrefix) ? given.substr(kPrefix.size()) : given;
  std::vector<std::string> known;
  for (const AbilityName& ability : kAbilities) {
    if (name == ability.name) return 1U << (ability.number - 1);
    known.emplace_back(ability.name);
  }
  value.refuse("must be an ability's name or number" + advice_for(name, known));
}

std::string existing(const Value& value, bool folder) {
  const std::string path = value.path();
  std::error_code ignored;
  if (folder ? fs::is_directory(path, ignored) : fs::is_regular_file(path, ignored)) return path;
  value.refuse(std::string("must name a ") + (folder ? "folder" : "file") + ", and " + path +
               (fs::exists(path, ignored) ? " is none" : " does not exist"));
}

template <bool Folder>
Wish wish(const Value& value) {
  if (value.is_switch()) return {value.is_on(), {}};
  if (!value.is_text())
    value.refuse(std::string("must be true, false or the path of a ") + (Folder ? "folder" : "file"));
  return {true, existing(value, Folder)};
}

void read_name(const Value& value, ProjectPlugin* plugin) {
  plugin->name = value.text();
  if (const char* const fault = fault_of_plugin_name(plugin->name)) value.refuse(fault);
}

void read_appid(const Value& value, ProjectPlugin* plugin) {
  const std::string appid = value.text();
  if (appid.empty() || appid.size() >= PERM_APPID_SIZE ||
      appid.find_first_not_of("0123456789") != std::string::npos)
    value.refuse("must be 1 to 63 decimal digits");
  if (appid == PERM_DAEMON_APPID || appid == PERM_MANAGER_APPID)
    value.refuse("belongs to the router itself; choose another");
  plugin->appid = appid;
}

void read_run(const Value& value, ProjectPlugin* plugin) {
  plugin->run_place = value.place();
  plugin->run = CLI::detail::split_up(value.text());
  if (plugin->run.empty() || plugin->run[0].empty()) value.refuse("must be a program and its arguments");
}

void read_abilities(const Value& value, ProjectPlugin* plugin) {
  for (const Value& ability : value.elements()) plugin->abilities |= ability_bit(ability);
}

const std::vector<Key<Project>> kBoxKeys = {
    {"router", [](const Value& value, Project* project) { project->router = wish<false>(value); }},
    {"downloads", [](const Value& value, Project* project) { project->downloads = wish<true>(value); }},
    {"files", [](const Value& value, Project* project) { project->files = wish<true>(value); }},
    {"build", [](const Value& value, Project* project) { project->build = value.path(); }},
};

const std::vector<Key<Target>> kTargetKeys = {
    {"build", [](const Value& value, Target* target) { target->build = value.path(); }},
    {"make", [](const Value& value, Target* target) { target->make = value.text(); }},
};

const std::vector<Key<ProjectPlugin>> kPluginKeys = {
    {"name", read_name},
    {"appid", read_appid},
    {"uid", [](const Value& value,
               ProjectPlugin* plugin) { plugin->uid = static_cast<uid_t>(value.number(1, kLastUid)); }},
    {"run", read_run},
    {"abilities", read_abilities},
    {"ends", [](const Value& value, ProjectPlugin* plugin) { plugin->ends = value.is_on(); }},
    {"stub", [](const Value& value, ProjectPlugin* plugin) { plugin->stub = existing(value, false); }},
    {"data", [](const Value& value, ProjectPlugin* plugin) { plugin->data = existing(value, true); }},
};

void read_hosts(const Value& hosts, Project* project) {
  for (const auto& [name, folder] : hosts.members()) {
    if (!is_host_name(name)) folder.refuse("needs another name; " + name + " " + kNoHostName);
    project->hosts.push_back({name, existing(folder, true)});
  }
}

void read_targets(const Value& targets, Project* project) {
  for (const auto& [name, keys] : targets.members()) {
    project->targets.push_back({name, {}, {}});
    read_keys(keys, kTargetKeys, &project->targets.back());
  }
}

void refuse_second(const Value& value, const ProjectPlugin& plugin,
                   const std::vector<ProjectPlugin>& earlier) {
  for (const ProjectPlugin& other : earlier) {
    const std::string where = " of the plug-in at " + other.place;
    if (other.name == plugin.name) value.refuse("has the name " + plugin.name + where);
    if (other.appid == plugin.appid) value.refuse("has the appid " + plugin.appid + where);
    if (other.uid == plugin.uid)
      value.refuse("has the uid " + std::to_string(plugin.uid) + where +
                   "; the router tells plug-ins apart by it");
  }
}

ProjectPlugin plugin_from(const Value& value, const std::vector<ProjectPlugin>& earlier) {
  ProjectPlugin plugin;
  plugin.uid = kFirstUid + static_cast<uid_t>(earlier.size());
  plugin.place = value.place();
  read_keys(value, kPluginKeys, &plugin);
  if (plugin.name.empty()) value.refuse("needs a name, such as name = \"weather\"");
  if (plugin.appid.empty()) value.refuse("needs an appid, such as appid = \"3001\"");
  if (plugin.run.empty() == plugin.stub.empty())
    value.refuse(plugin.run.empty() ? "needs run = \"PROGRAM ARGUMENTS...\" or stub = \"FILE\""
                                    : "has both run and stub; it is a program or it is played");
  refuse_second(value, plugin, earlier);
  return plugin;
}

// That the file can be played, by a plug-in with these abilities among these.
void check_stub(const ProjectPlugin& plugin, const std::vector<ProjectPlugin>& all) {
  const Stub stub = read_stub(plugin.stub, peers_among(all));
  const struct {
    bool wanted;
    perm_ability ability;
    const char* what;
  } kNeeds[] = {
      {!stub.answers.empty(), ability_cloud_communication, "[[answer]]"},
      {!stub.events.empty(), ability_notify_send, "[[event]]"},
  };
  for (const auto& need : kNeeds) {
    const auto& ability = kAbilities[need.ability - 1];
    if (need.wanted && (plugin.abilities & 1U << (ability.number - 1)) == 0)
      throw Failure(plugin.place + ": " + plugin.name + " needs abilities = [\"" + ability.name +
                    "\"], because its stub has an " + need.what);
  }
}

const std::vector<Key<Project>> kSections = {
    {"box", [](const Value& value, Project* project) { read_keys(value, kBoxKeys, project); }},
    {"hosts", read_hosts},
    {"target", read_targets},
    {"plugin",
     [](const Value& value, Project* project) {
       for (const Value& plugin : value.elements())
         project->plugins.push_back(plugin_from(plugin, project->plugins));
     }},
};

}  // namespace

std::vector<StubPeer> peers_among(const std::vector<ProjectPlugin>& plugins) {
  std::vector<StubPeer> peers;
  peers.reserve(plugins.size());
  for (const ProjectPlugin& plugin : plugins) peers.push_back({plugin.name, plugin.appid});
  return peers;
}

const char* fault_of_plugin_name(const std::string& name) {
  const auto fits = [](unsigned char c) { return (c < 128 && std::isalnum(c) != 0) || c == '-' || c == '_'; };
  if (name.empty() || name.size() > kLongestName || std::isalpha(static_cast<unsigned char>(name[0])) == 0 ||
      !std::all_of(name.begin(), name.end(), fits))
    return "must begin with a letter and have up to 31 letters, digits, - or _";
  if (std::find(std::begin(kTaken), std::end(kTaken), name) != std::end(kTaken))
    return "is a word of the box itself; choose another";
  return nullptr;
}

bool is_host_name(const std::string& name) {
  const auto fits = [](unsigned char c) {
    return (c < 128 && (std::islower(c) != 0 || std::isdigit(c) != 0)) || c == '-' || c == '.';
  };
  return !name.empty() && name.size() <= 253 && name.front() != '.' && name.back() != '.' &&
         name != "localhost" && name != "router" && std::all_of(name.begin(), name.end(), fits);
}

Project read_project(const std::string& file) {
  const TomlFile toml(file);
  Project project;
  project.folder = toml.folder();
  project.build = project.folder + "/build";
  read_keys(toml.whole(), kSections, &project);
  for (const ProjectPlugin& plugin : project.plugins)
    if (!plugin.stub.empty()) check_stub(plugin, project.plugins);
  return project;
}

std::vector<std::string> abilities_of(uint32_t bits) {
  std::vector<std::string> names;
  for (const AbilityName& ability : kAbilities)
    if ((bits & 1U << (ability.number - 1)) != 0) names.emplace_back(ability.name);
  return names;
}

Target target_of(const Project& project, const std::string& name) {
  const auto found = std::find_if(project.targets.begin(), project.targets.end(),
                                  [&](const Target& target) { return target.name == name; });
  Target target = found != project.targets.end() ? *found : Target{name, {}, {}};
  if (target.build.empty()) target.build = project.build + "-" + name;
  if (target.make.empty())
    target.make = "cmake -B " + target.build + " -DCMAKE_TOOLCHAIN_FILE=" + name +
                  ".cmake && cmake --build " + target.build;
  return target;
}

std::string built_program(const Project& project, const std::string& build, const std::string& program) {
  if (program.find('/') == std::string::npos) return program;
  const fs::path path = (fs::path(project.folder) / program).lexically_normal(),
                 within = path.lexically_relative(fs::path(project.build).lexically_normal());
  return within.empty() || *within.begin() == ".." ? path : fs::path(build) / within;
}

std::string package_file_of(const Project& project) {
  Json plugins = Json::array();
  for (const ProjectPlugin& plugin : project.plugins)
    plugins.push_back({{"appname", plugin.name},
                       {"appid", plugin.appid},
                       {"uid", plugin.uid},
                       {"abilitybits", plugin.abilities}});
  return text_of({{"plugin", plugins}}) + "\n";
}

}  // namespace routerbox
