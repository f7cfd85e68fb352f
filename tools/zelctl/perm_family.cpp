// zelctl perm: the permission table and its package file.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>

#include "abilities.h"
#include "change_lock.h"
#include "families.h"
#include "output.h"
#include "package_list.h"
#include "perm_codes.h"
#include "perm_view.h"
#include "plugin_user.h"
#include "text.h"

namespace zelctl {
namespace {

std::string ability_and_name(const Table& table, int ability) {
  return format("%d (%s)", ability, readable(ability_name(table, ability)).c_str());
}

const perm_plugin_info& plugin_of(const Table& table, const std::string& appid) {
  const perm_plugin_info* const plugin = table.find(appid);
  if (plugin == nullptr) throw perm_failure(appid, PERM_UNKNOWN_APP);
  return *plugin;
}

int list(const Call&) {
  const Table table = read_table();
  tell(plugins_text(table), plugins_json(table));
  return kDone;
}

int show(const Call& call) {
  const std::string appid = appid_value(call.argument(0));
  const Table table = read_table();
  const perm_plugin_info& plugin = plugin_of(table, appid);
  tell(plugin_text(table, plugin), plugin_json(plugin));
  return kDone;
}

int list_abilities(const Call&) {
  const Table table = read_table();
  tell(abilities_text(table), abilities_json(table));
  if (table.more_abilities != 0)
    note("the catalogue describes " + counted(table.more_abilities, "ability number") +
         " beyond 15, which no call of the library asks for");
  return kDone;
}

int check(const Call& call) {
  const std::string appid = appid_value(call.argument(0));
  const Table table = read_table();
  const int ability = ability_from(table, call.argument(1));
  const std::string named = ability_and_name(table, ability);
  if (const int code = perm_check(static_cast<uint32_t>(ability), appid.c_str()); code != 0)
    throw perm_failure(appid + ", ability " + named, code);
  const JsonTree json = json_object();
  add(json.get(), "appid", appid);
  add(json.get(), "ability", ability);
  tell(appid + " holds ability " + named + "\n", json);
  return kDone;
}

// ---- Changes ----------------------------------------------------------------------------------------------

std::string name_value(const char* text) {
  const std::string name = text;
  if (name.size() < sizeof(perm_plugin_info::appname) && readable(name) == name) return name;
  throw Failure(kUsage, "--name: a name is at most 63 bytes of printable UTF-8",
                "Choose a shorter or plainer one.");
}

template <size_t Size>
void set_text(char (&field)[Size], const std::string& text) {
  std::memset(field, 0, Size);
  std::memcpy(field, text.data(), std::min(text.size(), Size - 1));
}

// Over the record go the values that were given.
void apply(const Table& table, const Call& call, const std::string& appid, perm_plugin_info* plugin) {
  set_text(plugin->appid, appid);
  if (const char* const name = call.option("name")) set_text(plugin->appname, name_value(name));
  if (const char* const uid = call.option("uid")) {
    if (is_reserved(appid))
      throw Failure(kUsage, "the uid of " + appid + " stays 0: it is the router's own", "Leave out --uid.");
    plugin->uid = static_cast<uint32_t>(number_value("--uid", uid, 1, UINT32_MAX - 1));
  }
  if (const char* const abilities = call.option("abilities"))
    plugin->abilitybits = bits_from(table, abilities);
}

// The table before a change, which writes the whole package file anew from it.
Table read_table_to_change() {
  const Table table = read_table();
  const PackageList file = read_package_list(kPackageFile);
  if (file.code == PERM_NOT_OPENED) throw perm_failure("nothing was changed", file.code);
  if (file.code != 0 && file.code != PERM_NO_PACKAGES)
    throw Failure(
        kFailed,
        std::string(kPackageFile) + " cannot be read to its end, and would be written without the rest",
        "Mend the file (zelctl perm lint shows where), then run: zelctl perm init --again. To give up what "
        "it "
        "holds, remove it, then run: zelctl perm save",
        file.code);
  require_same(file, table);
  return table;
}

// The one that comes first answers for all processes of a user.
void note_shared_uid(const Table& table, const perm_plugin_info& plugin) {
  for (const perm_plugin_info& other : table.plugins) {
    if (other.uid != plugin.uid) continue;
    if (text_of(other.appid) != text_of(plugin.appid))
      note(format("uid %u is also that of %s, and its processes count as that plug-in's", plugin.uid,
                  readable(text_of(other.appid)).c_str()));
    return;
  }
}

int tell_stored(const std::string& appid) {
  const Table table = read_table();
  const perm_plugin_info& plugin = plugin_of(table, appid);
  tell(plugin_text(table, plugin), plugin_json(plugin));
  note_shared_uid(table, plugin);
  return kDone;
}

// For a code of a change: the table may have it although the file has not.
void require_done(const std::string& appid, const std::string& done, int code) {
  if (code == PERM_NOT_WRITTEN) throw perm_failure(appid + " is " + done + " until the next boot only", code);
  if (code != 0) throw perm_failure(appid + " was not " + done, code);
}

int insert(const Call& call) {
  const std::string appid = appid_value(call.argument(0));
  const ChangeLock turn;
  const Table table = read_table_to_change();
  perm_plugin_info plugin{};
  apply(table, call, appid, &plugin);
  const int code = perm_insert(&plugin);
  // A full table is no failure to the library.
  if ((code == 0 || code == PERM_NOT_WRITTEN) && read_table().find(appid) == nullptr)
    throw Failure(kNo,
                  format("%s was not inserted: the table holds %d plug-ins, no more fit", appid.c_str(),
                         PERM_PLUGIN_SLOTS),
                  "Delete one first: zelctl perm delete APPID");
  require_done(appid, "inserted", code);
  return tell_stored(appid);
}

int remove(const Call& call) {
  const std::string appid = appid_value(call.argument(0));
  if (is_reserved(appid))
    throw Failure(kUsage, appid + " is the router's own and cannot be deleted",
                  "What it may do can be changed: zelctl perm update " + appid + " --abilities LIST");
  const ChangeLock turn;
  read_table_to_change();
  require_done(appid, "deleted", perm_delete(appid.c_str()));
  const JsonTree json = json_object();
  add(json.get(), "deleted", appid);
  tell(appid + " deleted\n", json);
  return kDone;
}

int update(const Call& call) {
  const std::string appid = appid_value(call.argument(0));
  if (call.options.empty())
    throw Failure(kUsage, "nothing to change", "Give at least one of --name, --uid and --abilities.");
  const ChangeLock turn;
  const Table table = read_table_to_change();
  perm_plugin_info plugin = plugin_of(table, appid);
  apply(table, call, appid, &plugin);
  require_done(appid, "updated", perm_update(&plugin));
  return tell_stored(appid);
}

// ---- The whole table --------------------------------------------------------------------------------------

int tell_sizes(const std::string& done, const PackageList& file, const std::vector<std::string>& changed) {
  const Table table = read_table();
  const JsonTree json = json_object();
  add(json.get(), "plugins", static_cast<double>(table.plugins.size()));
  add(json.get(), "abilities", static_cast<double>(table.abilities.size()));
  add_problems(json.get(), file);
  cJSON* const array = add_array(json.get(), "changed");
  for (const std::string& appid : changed) append(array, readable(appid));
  tell(format("%s: %s, abilities in the catalogue: %zu\n", done.c_str(),
              counted(table.plugins.size(), "plug-in").c_str(), table.abilities.size()),
       json);
  return kDone;
}

std::string problem_text(const Problem& problem) {
  return problem.line != 0 ? format("line %d: %s", problem.line, problem.text.c_str()) : problem.text;
}

// The table anew while others use it: built aside, put in place under the lock.
int fill_again(perm_table* shared) {
  const auto fresh = std::make_unique<perm_table>();
  fresh->semid = shared->semid;
  if (perm_common_analyze_permission(fresh.get()) != 0) return PERM_PERMISSIONS;
  if (perm_common_analyze_pluginfo(fresh.get()) != 0) return PERM_PACKAGES;
  if (perm_common_system_app_uid_by_appid(fresh.get()) != 0) return PERM_NOT_RESERVED;
  TableLock lock(shared->semid);
  *shared = *fresh;
  // Puts right a semaphore that was given back too often; giving ours back as well would be once too often again.
  const int semid = perm_common_sem_init();
  if (semid == -1) return PERM_NO_SEMAPHORE;
  if (semid == shared->semid) lock.forget();
  shared->semid = semid;
  return 0;
}

int fill(bool again) {
  const AttachedTable shared = attach_table();
  if (!is_filled(*shared)) return perm_init();
  if (!again && is_filled_to_its_end(read_table()))
    throw Failure(kNo, "the table is filled already; what did not reach the package file would be lost",
                  "To fill it anew from the files: zelctl perm init --again");
  return fill_again(shared.get());
}

int init(const Call& call) {
  const ChangeLock turn;
  if (const int code = fill(call.has("again")); code != 0)
    throw perm_failure("the table was not filled", code);
  const PackageList file = read_package_list(kPackageFile);
  tell_sizes("table filled", file, {});
  for (const Problem& problem : file.problems) note(std::string(kPackageFile) + ": " + problem_text(problem));
  return kDone;
}

// Throws Failure if plug-ins of the file would be lost that the table never held.
void require_savable(const PackageList& file, const Table& table) {
  if (file.code != 0 && file.code != PERM_NO_PACKAGES && file.code != PERM_NOT_OPENED)
    throw Failure(
        kFailed,
        std::string(kPackageFile) + " cannot be read to its end, and would be written without the rest",
        "Mend the file (zelctl perm lint shows where), then run: zelctl perm init --again. To give up what "
        "it "
        "holds, remove it first.",
        file.code);
  if (file.plugins.size() > PERM_PLUGIN_SLOTS)
    throw Failure(kFailed,
                  format("%s lists %zu plug-ins, of which the table holds %d: the rest would be lost",
                         kPackageFile, file.plugins.size(), PERM_PLUGIN_SLOTS),
                  "Take out those that are not needed, then run: zelctl perm init --again");
  const bool lacks = std::any_of(
      file.plugins.begin(), file.plugins.end(),
      [&](const perm_plugin_info& plugin) { return table.find(text_of(plugin.appid)) == nullptr; });
  if (lacks && !is_filled_to_its_end(table))
    throw Failure(kFailed, std::string(kPackageFile) + " lists plug-ins that the table lacks",
                  "The table was not filled to its end. Run: zelctl perm init");
}

int save(const Call&) {
  const ChangeLock turn;
  const Table table = read_table();
  const PackageList file = read_package_list(kPackageFile);
  require_savable(file, table);
  const auto changed = differing(file, table);
  {
    const AttachedTable shared = attach_table();
    const TableLock lock(shared->semid);
    if (const int code = perm_common_write_pluginfo(shared.get()); code != 0)
      throw perm_failure("nothing was saved", code);
  }
  tell_sizes("package file written", {}, changed);
  for (const std::string& appid : changed)
    note("what the file said of " + readable(appid) + " was replaced by what is in force");
  return kDone;
}

// ---- Files and programs -----------------------------------------------------------------------------------

int lint(const Call& call) {
  const char* const path = call.argument(0) != nullptr ? call.argument(0) : kPackageFile;
  const PackageList list = read_package_list(path);
  if (list.code == PERM_NOT_OPENED || list.code == PERM_NO_PACKAGES || list.code == PERM_SHORT_READ)
    throw Failure(kFailed, std::string(readable(path)) + " cannot be read: " + std::strerror(errno),
                  "Name a package file that this user may read.", list.code);
  const JsonTree json = json_object();
  add(json.get(), "file", readable(path));
  add(json.get(), "plugins", static_cast<double>(list.plugins.size()));
  add_problems(json.get(), list);
  std::string text;
  for (const Problem& problem : list.problems)
    text +=
        readable(path) + (problem.line != 0 ? format(":%d", problem.line) : "") + ": " + problem.text + "\n";
  text += counted(list.plugins.size(), "plug-in") + ", " + counted(list.problems.size(), "fault") + "\n";
  tell(text, json);
  return list.problems.empty() ? kDone : kNo;
}

int run(const Call& call) {
  if (call.arguments.size() < 2)
    throw Failure(kUsage, "perm run needs COMMAND", "Help: zelctl perm run --help");
  become(appid_value(call.argument(0)));
  std::vector<char*> words;
  for (size_t i = 1; i < call.arguments.size(); ++i) words.push_back(const_cast<char*>(call.arguments[i]));
  words.push_back(nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  give_streams();
  execvp(words[0], words.data());
  const bool missing = errno == ENOENT;
  throw Failure(missing ? static_cast<Exit>(127) : static_cast<Exit>(126),
                std::string(readable(words[0])) + " cannot be run: " + std::strerror(errno),
                missing ? "Is it on PATH, and can this plug-in's user see it?"
                        : "May this plug-in's user execute it, and enter every folder above it?");
}

constexpr Option kAgain[] = {
    {"again", nullptr, "Also when the table is filled: it is built anew and put in place at once"}};
constexpr const char* kAbilityList =
    "Such as 2,wan,10-12 (zelctl perm abilities has them all); or all, none, or 0x and the bits";
constexpr Option kValues[] = {
    {"name", "NAME", "What people call it", true},
    {"uid", "UID", "Unix user id it runs under, one of its own, not root's", true},
    {"abilities", "LIST", kAbilityList},
};
constexpr Option kChanges[] = {
    {"name", "NAME", "What people call it"},
    {"uid", "UID", "Unix user id it runs under"},
    {"abilities", "LIST", kAbilityList},
};

constexpr Command kCommands[] = {
    {"perm list", "", "All plug-ins of the table, which is what is in force", "zelctl perm list", list},
    {"perm show", "APPID", "One plug-in, its abilities by name", "zelctl perm show 2001", show},
    {"perm check", "APPID ABILITY", "Whether a plug-in holds an ability, as the library answers it",
     "zelctl perm check 2001 cloud_communication", check},
    {"perm abilities", "", "All abilities that can be granted, by number and name", "zelctl perm abilities",
     list_abilities},
    {"perm insert", "APPID", "Add a plug-in, without any ability if none are given",
     "zelctl perm insert 2042 --name weather --uid 10042 --abilities 8,wan", insert, kValues, true},
    {"perm update", "APPID", "Change a plug-in; what is not given stays as it is",
     "zelctl perm update 2042 --abilities 2,wan,wifi", update, kChanges, true},
    {"perm delete", "APPID", "Remove a plug-in", "zelctl perm delete 2042", remove, {}, true},
    {"perm init", "",
     "Fill the table from the files of /etc/norva, when the router starts, before any plug-in or update "
     "runs. A table "
     "that is filled is left alone without --again",
     "zelctl perm init --again", init, kAgain, true},
    {"perm save",
     "",
     "Write the table to the package file again, after a change that did not reach it",
     "zelctl perm save",
     save,
     {},
     true},
    {"perm lint", "[FILE]", "What is wrong with a package file, by line. Status 1 if anything is",
     "zelctl perm lint /etc/norva/packages.json", lint},
    {"perm run",
     "APPID COMMAND...",
     "Run a program as a plug-in's user. The exit status is the program's, 127 if there is none, 126 if it "
     "cannot be "
     "run",
     "zelctl perm run 2001 -- id",
     run,
     {},
     true},
};

}  // namespace

constinit const Family kPermFamily = {"perm", "Plug-ins and what each may do", kCommands};

}  // namespace zelctl
