// zelctl perm: the permission table and its package file.
#include <unistd.h>
#include <zel/util.h>

#include <cerrno>
#include <csignal>
#include <cstring>

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

int list(const Call&) {
  Result result;
  show_plugins(*read_table(), &result);
  result.show();
  return kDone;
}

int show(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  const TableCopy table = read_table();
  Result result;
  show_plugin(*table, plugin_of(*table, appid), &result);
  result.show();
  return kDone;
}

int list_abilities(const Call&) {
  const TableCopy table = read_table();
  Result result;
  show_abilities(*table, &result);
  cJSON* const others = add_array(result.json(), "never_asked_for");
  for (const perm_ability_info& ability : table->abilities) {
    if (ability.permid > kAbilities) append_number(others, ability.permid);
  }
  result.show();
  const cJSON* other = nullptr;
  cJSON_ArrayForEach(other, others)
      note("the catalogue describes %s as well, which no call of the library asks for", other->valuestring);
  return kDone;
}

int check(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  const TableCopy table = read_table();
  const int ability = ability_from(*table, call.argument(1));
  const std::string name = ability_name(*table, ability);
  if (const int code = perm_check(static_cast<uint32_t>(ability), appid); code != 0)
    fail_perm(code, "%s, ability %d (%s)", appid, ability, name.c_str());
  Result result;
  add_text(result.json(), "appid", appid);
  add_number(result.json(), "ability", ability);
  result.line("%s holds ability %d (%s)", appid, ability, name.c_str());
  result.show();
  return kDone;
}

// ---- Changes ----------------------------------------------------------------------------------------------

void require_name(const char* text) {
  if (std::strlen(text) >= sizeof(perm_plugin_info::appname) || readable(text) != text)
    fail(kUsage, "Choose a shorter or plainer one.", "--name: a name is at most 63 bytes of printable UTF-8");
}

// Zeros behind the text, too: records are compared byte for byte.
template <size_t Size>
void set_text(char (&field)[Size], const char* text) {
  std::memset(field, 0, Size);
  qo_strncpy(field, text, Size);
}

// Over the record go the values that were given.
void apply(const perm_table& table, const Call& call, const char* appid, perm_plugin_info* plugin) {
  set_text(plugin->appid, appid);
  if (const char* const name = call.option("name")) {
    require_name(name);
    set_text(plugin->appname, name);
  }
  if (const char* const uid = call.option("uid")) {
    if (is_reserved(appid))
      fail(kUsage, "Leave out --uid.", "the uid of %s stays 0: it is the router's own", appid);
    plugin->uid = static_cast<uint32_t>(number_value("--uid", uid, 1, UINT32_MAX - 1));
  }
  if (const char* const abilities = call.option("abilities"))
    plugin->abilitybits = bits_from(table, abilities);
}

// Fails if the file cannot be read as far as it goes: it would be written without the rest.
void require_whole(const PackageList& file) {
  if (file.code == 0 || file.code == PERM_NO_PACKAGES) return;
  if (file.code == PERM_NOT_OPENED) fail_perm(file.code, "nothing was changed");
  fail_with(file.code, kFailed,
            "Mend the file (zelctl perm lint shows where), then run: zelctl perm init --again. To give up "
            "what it holds, remove it, then run: zelctl perm save",
            "%s cannot be read to its end, and would be written without the rest", kPackageFile);
}

// The table before a change, which writes the whole package file anew from it.
TableCopy read_table_to_change() {
  TableCopy table = read_table();
  const PackageList file = read_package_list(kPackageFile);
  require_whole(file);
  require_same(file, *table);
  return table;
}

int tell_stored(const char* appid) {
  const TableCopy table = read_table();
  const perm_plugin_slot& plugin = plugin_of(*table, appid);
  Result result;
  show_plugin(*table, plugin, &result);
  result.show();
  const perm_plugin_slot& first = first_of_uid(*table, plugin);
  if (&first != &plugin)
    note("uid %u is also that of %.64s, and its processes count as that plug-in's", plugin.uid, first.appid);
  return kDone;
}

// For a code of a change: the table may have it although the file has not.
void require_done(const char* appid, const char* done, int code) {
  if (code == PERM_NOT_WRITTEN) fail_perm(code, "%s is %s until the next boot only", appid, done);
  if (code != 0) fail_perm(code, "%s was not %s", appid, done);
}

int insert(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  const ChangeLock turn;
  perm_plugin_info plugin{};
  apply(*read_table_to_change(), call, appid, &plugin);
  const int code = perm_insert(&plugin);
  // A full table is no failure to the library.
  if ((code == 0 || code == PERM_NOT_WRITTEN) && find_plugin(*read_table(), appid) == nullptr)
    fail(kNo, "Delete one first: zelctl perm delete APPID",
         "%s was not inserted: the table holds %d plug-ins, no more fit", appid, PERM_PLUGIN_SLOTS);
  require_done(appid, "inserted", code);
  return tell_stored(appid);
}

int remove(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  if (is_reserved(appid))
    fail(kUsage, "What it may do can be changed: zelctl perm update APPID --abilities LIST",
         "%s is the router's own and cannot be deleted", appid);
  const ChangeLock turn;
  read_table_to_change();
  require_done(appid, "deleted", perm_delete(appid));
  Result result;
  add_text(result.json(), "deleted", appid);
  result.line("%s deleted", appid);
  result.show();
  return kDone;
}

int update(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  if (call.options.empty())
    fail(kUsage, "Give at least one of --name, --uid and --abilities.", "nothing to change");
  const ChangeLock turn;
  const TableCopy table = read_table_to_change();
  perm_plugin_info plugin;
  std::memcpy(&plugin, &plugin_of(*table, appid).uid, sizeof plugin);
  apply(*table, call, appid, &plugin);
  require_done(appid, "updated", perm_update(&plugin));
  return tell_stored(appid);
}

// ---- The whole table --------------------------------------------------------------------------------------

void tell_sizes(const char* done, const PackageList& file, const std::vector<std::string>& changed) {
  const TableCopy table = read_table();
  int abilities = 0;
  each_ability(*table, [&](const perm_ability_info&) { ++abilities; });
  Result result;
  add_number(result.json(), "plugins", table->plugin_count);
  add_number(result.json(), "abilities", abilities);
  add_problems(result.json(), file);
  cJSON* const array = add_array(result.json(), "changed");
  for (const std::string& appid : changed) append_text(array, appid.c_str());
  result.line("%s: %d plug-in%s, abilities in the catalogue: %d", done, table->plugin_count,
              plural(static_cast<size_t>(table->plugin_count)), abilities);
  result.show();
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
  if (!again && is_filled_to_its_end(*read_table()))
    fail(kNo, "To fill it anew from the files: zelctl perm init --again",
         "the table is filled already; what did not reach the package file would be lost");
  return fill_again(shared.get());
}

int init(const Call& call) {
  const ChangeLock turn;
  if (const int code = fill(call.has("again")); code != 0) fail_perm(code, "the table was not filled");
  const PackageList file = read_package_list(kPackageFile);
  tell_sizes("table filled", file, {});
  for (const Problem& problem : file.problems)
    note("%s:%d: %s", kPackageFile, problem.line, problem.text.c_str());
  return kDone;
}

// Fails if plug-ins of the file would be lost that the table never held.
void require_savable(const PackageList& file, const perm_table& table) {
  require_whole(file);
  if (file.plugins.size() > PERM_PLUGIN_SLOTS)
    fail(kFailed, "Take out those that are not needed, then run: zelctl perm init --again",
         "%s lists %zu plug-ins, of which the table holds %d: the rest would be lost", kPackageFile,
         file.plugins.size(), PERM_PLUGIN_SLOTS);
  if (is_filled_to_its_end(table)) return;
  for (const perm_plugin_info& plugin : file.plugins) {
    if (find_plugin(table, plugin.appid) == nullptr)
      fail(kFailed, "The table was not filled to its end. Run: zelctl perm init",
           "%s lists %s, which the table lacks", kPackageFile, plugin.appid);
  }
}

int save(const Call&) {
  const ChangeLock turn;
  const TableCopy table = read_table();
  const PackageList file = read_package_list(kPackageFile);
  require_savable(file, *table);
  const auto changed = differing(file, *table);
  {
    const AttachedTable shared = attach_table();
    const TableLock lock(shared->semid);
    if (const int code = perm_common_write_pluginfo(shared.get()); code != 0)
      fail_perm(code, "nothing was saved");
  }
  tell_sizes("package file written", {}, changed);
  for (const std::string& appid : changed)
    note("what the file said of %s was replaced by what is in force", appid.c_str());
  return kDone;
}

// ---- Files and programs -----------------------------------------------------------------------------------

int lint(const Call& call) {
  const char* const path = call.argument(0) != nullptr ? call.argument(0) : kPackageFile;
  const PackageList list = read_package_list(path);
  if (list.code == PERM_NOT_OPENED || list.code == PERM_NO_PACKAGES || list.code == PERM_SHORT_READ)
    fail_with(list.code, exit_for(errno), "Name a package file that this user may read.",
              "%s cannot be read: %s", path, std::strerror(errno));
  Result result;
  add_text(result.json(), "file", path);
  add_number(result.json(), "plugins", static_cast<int64_t>(list.plugins.size()));
  add_problems(result.json(), list);
  for (const Problem& problem : list.problems)
    result.line("%s:%d: %s", path, problem.line, problem.text.c_str());
  const size_t faults = list.problems.size();
  result.line("%zu plug-in%s, %zu fault%s", list.plugins.size(), plural(list.plugins.size()), faults,
              plural(faults));
  const Exit exit = faults == 0 ? kDone : kNo;
  result.show(exit);
  return exit;
}

int run(const Call& call) {
  const char* const appid = appid_value(call.argument(0));
  std::vector<const char*> words(call.arguments.begin() + 1, call.arguments.end());
  words.push_back(nullptr);
  become(appid);
  std::signal(SIGPIPE, SIG_DFL);
  give_streams();
  execvp(words[0], const_cast<char* const*>(words.data()));
  // As a shell tells the two apart.
  const bool missing = errno == ENOENT;
  fail(static_cast<Exit>(missing ? 127 : 126),
       missing ? "Is it on PATH, and can this plug-in's user see it?"
               : "May this plug-in's user execute it, and enter every folder above it?",
       "%s cannot be run: %s", words[0], std::strerror(errno));
}

constexpr const char* kAbilityList =
    "All that it may do, such as 2,wan,10-12 (zelctl perm abilities has them all); or all, none, or 0x and "
    "the bits";
constexpr Option kAgain[] = {
    {"again", nullptr, "Also when the table is filled: it is built anew aside and put in place at once"}};
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
     "Fill the table from the files of /etc/norva, when the router starts. It comes before any plug-in or "
     "update; a table that is filled is left alone without --again",
     "zelctl perm init --again", init, kAgain, true},
    {"perm save",
     "",
     "Write the table to the package file again, after a change that did not reach it",
     "zelctl perm save",
     save,
     {},
     true},
    {"perm lint", "[FILE]", "What is wrong with a package file, by line. The status is 1 if anything is",
     "zelctl perm lint /etc/norva/packages.json", lint},
    {"perm run",
     "APPID COMMAND...",
     "Run a program as a plug-in's user. The exit status is the program's, 127 if there is none, 126 if it "
     "cannot be run",
     "zelctl perm run 2001 -- id",
     run,
     {},
     true},
};

}  // namespace

constinit const Family kPermFamily = {"perm", "Plug-ins and what each may do", kCommands};

}  // namespace zelctl
