// zelctl perm: the permission table and its package file.
#include <unistd.h>
#include <zel/perm.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <optional>

#include "abilities.h"
#include "change_lock.h"
#include "groups.h"
#include "perm_codes.h"
#include "perm_view.h"

namespace zelctl {
namespace {

// What the command line gave.
struct Given {
  std::string appid;
  std::string ability;
  std::optional<std::string> name;
  std::optional<uint32_t> uid;
  std::optional<std::string> abilities;
};

std::string counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

const perm_plugin_info& plugin_of(const Table& table, const std::string& appid) {
  const perm_plugin_info* const plugin = table.find(appid);
  if (plugin == nullptr) throw perm_failure(appid, PERM_UNKNOWN_APP);
  return *plugin;
}

void set_text(char (&field)[64], const std::string& text) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, text.data(), std::min(text.size(), sizeof field - 1));
}

// Over the record go the values that were given.
void apply(const Table& table, const Given& given, perm_plugin_info* plugin) {
  set_text(plugin->appid, given.appid);
  if (given.name) set_text(plugin->appname, *given.name);
  if (given.uid) plugin->uid = *given.uid;
  if (given.abilities) plugin->abilitybits = bits_from(table, *given.abilities);
}

// The one that comes first answers for all processes of a user.
void note_shared_uid(const Session& session, const Table& table, const perm_plugin_info& plugin) {
  for (const perm_plugin_info& other : table.plugins) {
    if (other.uid != plugin.uid) continue;
    if (text_of(other.appid) != text_of(plugin.appid))
      note(session, "uid " + std::to_string(plugin.uid) + " is also that of " +
                        readable(text_of(other.appid)) + ", and its processes count as that plug-in's");
    return;
  }
}

void tell_stored(const Session& session, const std::string& appid) {
  const Table table = read_table();
  const perm_plugin_info& plugin = plugin_of(table, appid);
  tell(session, plugin_text(table, plugin), plugin_json(plugin));
  note_shared_uid(session, table, plugin);
}

void tell_sizes(const Session& session, const std::string& done) {
  const Table table = read_table();
  const JsonTree json = json_object();
  add(json, "plugins", static_cast<double>(table.plugins.size()));
  add(json, "abilities", static_cast<double>(table.abilities.size()));
  tell(session,
       done + ": " + counted(table.plugins.size(), "plug-in") +
           ", abilities in the catalogue: " + std::to_string(table.abilities.size()) + "\n",
       json);
}

void init(const Session& session, const Given&) {
  if (const int code = perm_init(); code != 0) throw perm_failure("the table was not filled", code);
  tell_sizes(session, "table filled");
}

void list(const Session& session, const Given&) {
  const Table table = read_table();
  tell(session, plugins_text(table), plugins_json(table));
}

void show(const Session& session, const Given& given) {
  const Table table = read_table();
  const perm_plugin_info& plugin = plugin_of(table, given.appid);
  tell(session, plugin_text(table, plugin), plugin_json(plugin));
}

void list_abilities(const Session& session, const Given&) {
  const Table table = read_table();
  tell(session, abilities_text(table), abilities_json(table));
}

// For a code of a change: the table may have it although the file has not.
void require_done(const Given& given, const std::string& done, int code) {
  if (code == PERM_NOT_WRITTEN)
    throw perm_failure(given.appid + " is " + done + " until the next boot only", code);
  if (code != 0) throw perm_failure(given.appid + " was not " + done, code);
}

void insert(const Session& session, const Given& given) {
  const Table table = read_table_to_change();
  perm_plugin_info plugin{};
  apply(table, given, &plugin);
  const int code = perm_insert(&plugin);
  // A full table is no failure to the library.
  if ((code == 0 || code == PERM_NOT_WRITTEN) && read_table().find(given.appid) == nullptr)
    throw Failure(kNo,
                  given.appid + " was not inserted: the table holds " + std::to_string(PERM_PLUGIN_SLOTS) +
                      " plug-ins, no more fit",
                  "Delete one first: zelctl perm delete APPID");
  require_done(given, "inserted", code);
  tell_stored(session, given.appid);
}

void remove(const Session& session, const Given& given) {
  if (given.appid == "1" || given.appid == "2")
    throw Failure(kUsage, given.appid + " is the router's own and cannot be deleted",
                  "What it may do can be changed: zelctl perm update " + given.appid + " --abilities LIST");
  read_table_to_change();
  require_done(given, "deleted", perm_delete(given.appid.c_str()));
  const JsonTree json = json_object();
  add(json, "deleted", given.appid);
  tell(session, given.appid + " deleted\n", json);
}

void update(const Session& session, const Given& given) {
  if (!given.name && !given.uid && !given.abilities)
    throw Failure(kUsage, "nothing to change", "Give at least one of --name, --uid and --abilities.");
  const Table table = read_table_to_change();
  perm_plugin_info plugin = plugin_of(table, given.appid);
  apply(table, given, &plugin);
  require_done(given, "updated", perm_update(&plugin));
  tell_stored(session, given.appid);
}

void check(const Session& session, const Given& given) {
  const Table table = read_table();
  const int ability = ability_from(table, given.ability);
  const std::string named = std::to_string(ability) + " (" + readable(ability_name(table, ability)) + ")";
  if (const int code = perm_check(static_cast<uint32_t>(ability), given.appid.c_str()); code != 0)
    throw perm_failure(given.appid + ", ability " + named, code);
  const JsonTree json = json_object();
  add(json, "appid", given.appid);
  add(json, "ability", ability);
  tell(session, given.appid + " holds ability " + named + "\n", json);
}

// The table under its own lock, which the exported writer leaves to its caller.
void save(const Session& session, const Given&) {
  read_table_to_save();
  if (const int code = write_package_file(); code != 0) throw perm_failure("nothing was saved", code);
  tell_sizes(session, "package file written");
}

std::string appid_fault(const std::string& text) {
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  return digits && text.size() < PERM_APPID_SIZE ? "" : "an appid is 1 to 63 digits";
}

std::string name_fault(const std::string& text) {
  const bool fits = text.size() < sizeof(perm_plugin_info::appname);
  return fits && readable(text) == text ? "" : "a name is at most 63 bytes of printable UTF-8";
}

void no_options(CLI::App*, Given*) {}

void take_appid(CLI::App* command, Given* given) {
  command->add_option("APPID", given->appid, "Digits")->required()->check(appid_fault);
}

void take_values(CLI::App* command, Given* given, bool all) {
  take_appid(command, given);
  command->add_option("--name", given->name, "What people call it")->check(name_fault)->required(all);
  command->add_option("--uid", given->uid, "Unix user id it runs under, one of its own, not root's")
      ->check(CLI::Range(1U, UINT32_MAX - 1))
      ->required(all);
  command->add_option(
      "--abilities", given->abilities,
      "List such as 2,wan,10-12 (zelctl perm abilities has them all); or all, none, or 0x and the bits");
}

struct Command {
  const char* name;
  const char* help;
  void (*options)(CLI::App*, Given*);
  void (*run)(const Session&, const Given&);
  bool changes;
};
constexpr Command kCommands[] = {
    {"init",
     "Fill the table from the files of /etc/norva. For the start of the router, before any plug-in or update "
     "runs",
     no_options, init, true},
    {"list", "All plug-ins of the table, which is what is in force", no_options, list, false},
    {"show", "One plug-in, its abilities by name", take_appid, show, false},
    {"insert", "Add a plug-in, without any ability if none are given",
     [](CLI::App* command, Given* given) { take_values(command, given, true); }, insert, true},
    {"delete", "Remove a plug-in", take_appid, remove, true},
    {"update", "Change a plug-in; what is not given stays as it is",
     [](CLI::App* command, Given* given) { take_values(command, given, false); }, update, true},
    {"check", "Whether a plug-in holds an ability, as the library answers it",
     [](CLI::App* command, Given* given) {
       take_appid(command, given);
       command->add_option("ABILITY", given->ability, "Number or name: 7, wan or ability_wan")->required();
     },
     check, false},
    {"abilities", "All abilities, by number and name", no_options, list_abilities, false},
    {"save", "Write the table to the package file again, after a change that did not reach it", no_options,
     save, true},
};

}  // namespace

void add_perm_group(CLI::App& app, const Session& session) {
  CLI::App* const group = app.add_subcommand("perm", "Plug-ins and what each may do");
  group->require_subcommand(1);
  const auto given = std::make_shared<Given>();  // of the one command that runs
  for (const Command& command : kCommands) {
    CLI::App* const added = group->add_subcommand(command.name, command.help);
    command.options(added, given.get());
    added->callback([&command, &session, given] {
      // The table itself would let anybody; the file would not, and then they differ.
      if (command.changes && geteuid() != 0)
        throw Failure(kNotPermitted, std::string("perm ") + command.name + " is not permitted to this user",
                      "Run it as root.");
      const auto turn = command.changes ? std::make_unique<ChangeLock>() : nullptr;
      command.run(session, *given);
    });
  }
}

}  // namespace zelctl
