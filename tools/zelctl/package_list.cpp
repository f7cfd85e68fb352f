#include "package_list.h"

#include <zel/util.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "abilities.h"
#include "failure.h"
#include "handles.h"
#include "numbers.h"
#include "text.h"

namespace zelctl {
namespace {

int read_whole(const char* path, std::string* text) {
  const File file(std::fopen(path, "re"));
  if (!file) return errno == ENOENT ? PERM_NO_PACKAGES : PERM_NOT_OPENED;
  char block[4096];
  for (size_t count; (count = std::fread(block, 1, sizeof block, file.get())) > 0;)
    text->append(block, count);
  return std::ferror(file.get()) == 0 ? 0 : PERM_SHORT_READ;
}

// The lines on which the elements of the array "plugin" begin, in a text that is JSON: cJSON keeps no places.
class ElementLines {
 public:
  explicit ElementLines(const std::string& text) {
    for (const char c : text) {
      if (c == '\n') ++line_;
      if (in_text_) {
        pass_text(c);
      } else {
        pass(c);
      }
    }
  }
  int of(size_t element) const { return element < lines_.size() ? lines_[element] : 0; }

 private:
  void pass_text(char c) {
    if (escaped_ || c == '\\') {
      escaped_ = !escaped_;
    } else if (c == '"') {
      in_text_ = false;
    } else if (depth_ == 1) {
      key_ += c;
    }
  }
  void pass(char c) {
    const bool closes = c == ']' || c == '}';
    if (closes) --depth_;
    if (depth_ == 2 && in_array_ && awaited_ && !closes && std::strchr(" \t\r\n,", c) == nullptr) {
      lines_.push_back(line_);
      awaited_ = false;
    }
    if (depth_ == 1 && closes) in_array_ = false;
    if (depth_ == 1 && c == '[') in_array_ = awaited_ = qo_strcasecmp(key_.c_str(), "plugin") == 0;
    if (depth_ == 2 && c == ',') awaited_ = true;
    if (c == '"') {
      in_text_ = true;
      if (depth_ == 1) key_.clear();
    }
    if (c == '[' || c == '{') ++depth_;
  }

  std::vector<int> lines_;
  std::string key_;
  int line_ = 1, depth_ = 0;
  bool in_text_ = false, escaped_ = false, in_array_ = false, awaited_ = false;
};

// One element while it is judged.
struct Element {
  const cJSON* json;
  int line;
  PackageList* list;
  void complain(const char* text, ...) const __attribute__((format(printf, 2, 3)));
};

void Element::complain(const char* text, ...) const {
  va_list values;
  va_start(values, text);
  list->problems.push_back({line, format_list(text, values)});
  va_end(values);
}

// The member of that name and type. Null, and a fault that ends the library's reading, if there is none.
const cJSON* member(const Element& element, const char* key, int type) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(element.json, key);
  if (item == nullptr) item = cJSON_GetObjectItem(element.json, key);
  if (is(item, type)) return item;
  const char* const kind = type == cJSON_String ? "not a text" : "not a number";
  element.complain("\"%s\" is %s; reading stops here", key, item == nullptr ? "missing" : kind);
  return nullptr;
}

void take_text(const Element& element, const char* key, const cJSON* item, char* field, size_t size) {
  const char* const text = item->valuestring;
  if (std::strlen(text) >= size)
    element.complain("\"%s\" is longer than %zu bytes and is cut", key, size - 1);
  if (readable(text) != text) element.complain("\"%s\" is not printable UTF-8", key);
  qo_strncpy(field, text, size);
}

// Both -1 and 4294967295 are all bits.
uint32_t take_number(const Element& element, const char* key, const cJSON* item) {
  bool exact = false;
  const int64_t number = whole_number(item, INT32_MIN, UINT32_MAX, &exact);
  if (!exact) element.complain("\"%s\" is no whole number of 32 bits", key);
  return static_cast<uint32_t>(number);
}

bool take_element(const Element& element) {
  if (!is(element.json, cJSON_Object)) {
    element.complain("the element is no object; reading stops here");
    return false;
  }
  const cJSON* const appname = member(element, "appname", cJSON_String);
  const cJSON* const appid = appname != nullptr ? member(element, "appid", cJSON_String) : nullptr;
  const cJSON* const bits = appid != nullptr ? member(element, "abilitybits", cJSON_Number) : nullptr;
  const cJSON* const uid = bits != nullptr ? member(element, "uid", cJSON_Number) : nullptr;
  if (uid == nullptr) return false;
  perm_plugin_info plugin{};
  take_text(element, "appname", appname, plugin.appname, sizeof plugin.appname);
  take_text(element, "appid", appid, plugin.appid, sizeof plugin.appid);
  plugin.abilitybits = take_number(element, "abilitybits", bits);
  plugin.uid = take_number(element, "uid", uid);
  element.list->plugins.push_back(plugin);
  return true;
}

// What is wrong with one plug-in beside those in front of it.
void judge(const Element& element) {
  const auto& plugins = element.list->plugins;
  const perm_plugin_info& plugin = plugins.back();
  const char* const appid = plugin.appid;
  if (*appid == '\0' || appid[std::strspn(appid, "0123456789")] != '\0')
    element.complain("appid '%s' is not all digits; no ability can be asked for", appid);
  if (plugin.uid == 0 && !is_reserved(appid))
    element.complain("appid %s has uid 0, root's; a plug-in needs one of its own", appid);
  if (plugin.uid != 0 && is_reserved(appid))
    element.complain("appid %s is the router's own, its uid must be 0", appid);
  for (size_t i = 0; i + 1 < plugins.size(); ++i) {
    const char* const other = plugins[i].appid;
    const bool again = std::strcmp(other, appid) == 0;
    if (again) element.complain("appid %s is listed twice; the first one counts", appid);
    if (!again && plugins[i].uid == plugin.uid && !(is_reserved(appid) && is_reserved(other)))
      element.complain("uid %u is also that of appid %s, and its processes count as that plug-in's",
                       plugin.uid, other);
  }
}

void take_elements(const std::string& text, const cJSON* array, PackageList* list) {
  const ElementLines lines(text);
  size_t index = 0;
  const cJSON* json = nullptr;
  cJSON_ArrayForEach(json, array) {
    const Element element{json, lines.of(index++), list};
    if (!take_element(element)) {
      list->code = PERM_MALFORMED;
      return;
    }
    judge(element);
  }
  const size_t count = list->plugins.size();
  const Element first_left_out{nullptr, lines.of(PERM_PLUGIN_SLOTS), list};
  if (count > PERM_PLUGIN_SLOTS)
    first_left_out.complain("the table holds %d plug-ins; the last %zu of %zu, from here on, are left out",
                            PERM_PLUGIN_SLOTS, count - PERM_PLUGIN_SLOTS, count);
}

const perm_plugin_info* find(const PackageList& list, const char* appid) {
  for (const perm_plugin_info& plugin : list.plugins) {
    if (std::strcmp(plugin.appid, appid) == 0) return &plugin;
  }
  return nullptr;
}

// The router adds the two that are its own where they are missing, if there is room.
void judge_room(PackageList* list) {
  size_t held = list->plugins.size();
  for (const char* appid : {PERM_DAEMON_APPID, PERM_MANAGER_APPID}) {
    const perm_plugin_info* const plugin = find(*list, appid);
    const bool left_out =
        plugin != nullptr ? plugin - list->plugins.data() >= PERM_PLUGIN_SLOTS : held++ >= PERM_PLUGIN_SLOTS;
    if (left_out)
      Element{nullptr, 1, list}.complain("no room is left for %s, which is the router's own", appid);
  }
}

// A plug-in of the file or of the table.
template <class Plugin>
std::string describe(const Plugin* plugin) {
  if (plugin == nullptr) return "nothing";
  return format("uid %u, abilities %s, name '%.64s'", plugin->uid, ability_list(plugin->abilitybits).c_str(),
                plugin->appname);
}

bool same(const perm_plugin_info& filed, const perm_plugin_slot& held) {
  return filed.uid == held.uid && filed.abilitybits == held.abilitybits &&
         text_of(held.appname) == filed.appname;
}

// As the router adds them to a table whose file lacks them.
bool is_added_by_init(const perm_plugin_slot& plugin) {
  const std::string appid = text_of(plugin.appid);
  return plugin.uid == 0 && ((appid == PERM_DAEMON_APPID && plugin.abilitybits == UINT32_MAX - 2) ||
                             (appid == PERM_MANAGER_APPID && plugin.abilitybits == UINT32_MAX));
}

}  // namespace

PackageList parse_package_list(const std::string& text) {
  PackageList list;
  const Element whole{nullptr, 1, &list};
  std::string where;
  JsonTree root = parse_json(text, &where);
  if (!root) {
    // The library reads as far as the JSON goes.
    root.reset(cJSON_Parse(text.c_str()));
    whole.complain(root ? "something follows the JSON: %s" : "this is no JSON: %s", where.c_str());
    list.code = root ? 0 : PERM_NOT_JSON;
  }
  if (!root) return list;
  const cJSON* const array = cJSON_GetObjectItem(root.get(), "plugin");
  if (!is(array, cJSON_Array)) {
    list.code = PERM_MALFORMED;
    whole.complain("there is no array \"plugin\" in it");
    return list;
  }
  take_elements(text, array, &list);
  if (list.code == 0) judge_room(&list);
  return list;
}

PackageList read_package_list(const char* path) {
  std::string text;
  if (const int code = read_whole(path, &text); code != 0) return {{}, {}, code};
  return parse_package_list(text);
}

void add_problems(cJSON* object, const PackageList& list) {
  cJSON* const array = add_array(object, "problems");
  for (const Problem& problem : list.problems) {
    cJSON* const row = append_object(array);
    add_number(row, "line", problem.line);
    add_text(row, "problem", problem.text.c_str());
  }
}

std::vector<std::string> differing(const PackageList& list, const perm_table& table) {
  std::vector<std::string> appids;
  for (const perm_plugin_info& plugin : list.plugins) {
    if (find(list, plugin.appid) != &plugin) continue;  // A second of the name: the first slot of it counts.
    const perm_plugin_slot* const held = find_plugin(table, plugin.appid);
    if (held == nullptr || !same(plugin, *held)) appids.emplace_back(plugin.appid);
  }
  each_plugin(table, [&](const perm_plugin_slot& plugin) {
    std::string appid = text_of(plugin.appid);
    if (find(list, appid.c_str()) == nullptr && !is_added_by_init(plugin)) appids.push_back(std::move(appid));
  });
  return appids;
}

void require_same(const PackageList& list, const perm_table& table) {
  const auto appids = differing(list, table);
  if (appids.empty()) return;
  const char* const appid = appids[0].c_str();
  const perm_plugin_slot* const held = find_plugin(table, appid);
  if (held == nullptr)
    fail(kFailed,
         "To fill the table from the file: zelctl perm init --again. To write the file from the table: "
         "zelctl perm save",
         "%s lists %s, which the table lacks, and would be written without it", kPackageFile, appid);
  fail(kFailed,
       "The table is in force. To write it to the file: zelctl perm save. To put the file in force: zelctl "
       "perm init --again",
       "%s and the table differ about %s. File: %s. Table: %s", kPackageFile, appid,
       describe(find(list, appid)).c_str(), describe(held).c_str());
}

}  // namespace zelctl
