#include "package_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "abilities.h"
#include "perm_codes.h"
#include "text.h"

namespace zelctl {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

int read_whole(const char* path, std::string* text) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "re"));
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
    if (depth_ == 1 && c == '[') in_array_ = awaited_ = strcasecmp(key_.c_str(), "plugin") == 0;
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

// Both -1 and 4294967295 are all bits.
uint32_t bits_of(double number) {
  if (number < 0) return static_cast<uint32_t>(static_cast<int32_t>(std::max(number, -2147483648.0)));
  return static_cast<uint32_t>(std::min(number, 4294967295.0));
}

// One element while it is judged.
struct Element {
  const cJSON* json;
  int line;
  PackageList* list;
  void complain(const std::string& text) const { list->problems.push_back({line, text}); }
};

// The member of that name and type. Null, and a fault that ends the library's reading, if there is none.
const cJSON* member(const Element& element, const char* key, bool text) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(element.json, key);
  if (item == nullptr) item = cJSON_GetObjectItem(element.json, key);
  const bool right = text ? cJSON_IsString(item) != 0 : cJSON_IsNumber(item) != 0;
  if (right) return item;
  const char* const kind = text ? "a text" : "a number";
  element.complain(item == nullptr ? format("\"%s\" is missing; reading stops here", key)
                                   : format("\"%s\" is not %s; reading stops here", key, kind));
  return nullptr;
}

template <size_t Size>
void take_text(const Element& element, const char* key, const cJSON* item, char (&field)[Size]) {
  const std::string text = item->valuestring;
  if (text.size() >= Size)
    element.complain(format("\"%s\" is longer than %zu bytes and is cut", key, Size - 1));
  if (readable(text) != text) element.complain(format("\"%s\" is not printable UTF-8", key));
  std::memcpy(field, text.data(), std::min(text.size(), Size - 1));
}

uint32_t take_number(const Element& element, const char* key, const cJSON* item) {
  const double number = item->valuedouble;
  if (number != static_cast<double>(static_cast<int64_t>(std::clamp(number, -1e15, 1e15))) ||
      number < -2147483648.0 || number > 4294967295.0)
    element.complain(format("\"%s\" is no whole number of 32 bits", key));
  return bits_of(number);
}

bool take_element(const Element& element) {
  if (cJSON_IsObject(element.json) == 0) {
    element.complain("the element is no object; reading stops here");
    return false;
  }
  const cJSON* const appname = member(element, "appname", true);
  const cJSON* const appid = appname != nullptr ? member(element, "appid", true) : nullptr;
  const cJSON* const bits = appid != nullptr ? member(element, "abilitybits", false) : nullptr;
  const cJSON* const uid = bits != nullptr ? member(element, "uid", false) : nullptr;
  if (uid == nullptr) return false;
  perm_plugin_info plugin{};
  take_text(element, "appname", appname, plugin.appname);
  take_text(element, "appid", appid, plugin.appid);
  plugin.abilitybits = take_number(element, "abilitybits", bits);
  plugin.uid = take_number(element, "uid", uid);
  element.list->plugins.push_back(plugin);
  return true;
}

// What is wrong with one plug-in beside those in front of it.
void judge(const Element& element) {
  const auto& plugins = element.list->plugins;
  const perm_plugin_info& plugin = plugins.back();
  const std::string appid = text_of(plugin.appid);
  if (appid.empty() || appid.find_first_not_of("0123456789") != std::string::npos)
    element.complain("appid '" + readable(appid) + "' is not all digits; no ability can be asked for");
  if (plugin.uid == 0 && !is_reserved(appid))
    element.complain("appid " + readable(appid) + " has uid 0, root's; a plug-in needs one of its own");
  if (plugin.uid != 0 && is_reserved(appid))
    element.complain("appid " + appid + " is the router's own, its uid must be 0");
  for (size_t i = 0; i + 1 < plugins.size(); ++i) {
    const std::string other = text_of(plugins[i].appid);
    if (other == appid)
      element.complain("appid " + readable(appid) + " is listed twice; the first one counts");
    if (plugins[i].uid == plugin.uid && other != appid && !(is_reserved(appid) && is_reserved(other)))
      element.complain(format("uid %u is also that of appid %s, and its processes count as that plug-in's",
                              plugin.uid, readable(other).c_str()));
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
  if (count > PERM_PLUGIN_SLOTS)
    list->problems.push_back(
        {lines.of(PERM_PLUGIN_SLOTS),
         format("the table holds %d plug-ins; the last %zu of %zu, from here on, are left out",
                PERM_PLUGIN_SLOTS, count - PERM_PLUGIN_SLOTS, count)});
}

// No room is left for these two when the list has them at its end or not at all.
void judge_room(PackageList* list) {
  const size_t held = std::min<size_t>(list->plugins.size(), PERM_PLUGIN_SLOTS);
  size_t room = PERM_PLUGIN_SLOTS - held;
  for (const char* appid : {"1", "2"}) {
    const bool listed =
        std::any_of(list->plugins.begin(), list->plugins.begin() + static_cast<ptrdiff_t>(held),
                    [&](const perm_plugin_info& plugin) { return text_of(plugin.appid) == appid; });
    if (listed) continue;
    if (room == 0)
      list->problems.push_back(
          {0, std::string("no room is left for ") + appid + ", which is the router's own"});
    else
      --room;
  }
}

std::string described(const perm_plugin_info* plugin) {
  if (plugin == nullptr) return "nothing";
  return format("uid %u, abilities %s, name '%s'", plugin->uid, ability_list(plugin->abilitybits).c_str(),
                readable(text_of(plugin->appname)).c_str());
}

bool same(const perm_plugin_info& a, const perm_plugin_info& b) {
  return a.uid == b.uid && a.abilitybits == b.abilitybits && text_of(a.appname) == text_of(b.appname);
}

const perm_plugin_info* listed(const PackageList& list, const std::string& appid) {
  const auto found =
      std::find_if(list.plugins.begin(), list.plugins.end(),
                   [&](const perm_plugin_info& plugin) { return text_of(plugin.appid) == appid; });
  return found != list.plugins.end() ? &*found : nullptr;
}

// As the router adds them to a table whose file lacks them.
bool is_added_by_init(const perm_plugin_info& plugin) {
  const std::string appid = text_of(plugin.appid);
  return plugin.uid == 0 && ((appid == "1" && plugin.abilitybits == UINT32_MAX - 2) ||
                             (appid == "2" && plugin.abilitybits == UINT32_MAX));
}

}  // namespace

PackageList read_package_list(const char* path) {
  PackageList list;
  std::string text;
  list.code = read_whole(path, &text);
  if (list.code != 0) return list;
  std::string where;
  JsonTree root = parse_json(text, &where);
  if (!root) {
    // The library reads as far as the JSON goes.
    root.reset(cJSON_Parse(text.c_str()));
    if (root) list.problems.push_back({0, "something follows the JSON: " + where});
  }
  if (!root) {
    list.code = PERM_NOT_JSON;
    list.problems.push_back({0, "this is no JSON: " + where});
    return list;
  }
  const cJSON* const array = cJSON_GetObjectItem(root.get(), "plugin");
  if (cJSON_IsArray(array) == 0) {
    list.code = PERM_MALFORMED;
    list.problems.push_back({0, "there is no array \"plugin\" in it"});
    return list;
  }
  take_elements(text, array, &list);
  if (list.code == 0) judge_room(&list);
  return list;
}

cJSON* add_problems(cJSON* object, const PackageList& list) {
  cJSON* const array = add_array(object, "problems");
  for (const Problem& problem : list.problems) {
    JsonTree row = json_object();
    add(row.get(), "line", problem.line);
    add(row.get(), "problem", problem.text);
    append(array, std::move(row));
  }
  return array;
}

std::vector<std::string> differing(const PackageList& list, const Table& table) {
  std::vector<std::string> appids;
  for (const perm_plugin_info& plugin : list.plugins) {
    const perm_plugin_info* const other = table.find(text_of(plugin.appid));
    if (other == nullptr || !same(plugin, *other)) appids.push_back(text_of(plugin.appid));
  }
  for (const perm_plugin_info& plugin : table.plugins) {
    if (listed(list, text_of(plugin.appid)) == nullptr && !is_added_by_init(plugin))
      appids.push_back(text_of(plugin.appid));
  }
  return appids;
}

void require_same(const PackageList& list, const Table& table) {
  const auto appids = differing(list, table);
  if (appids.empty()) return;
  const std::string appid = readable(appids[0]);
  const perm_plugin_info* const held = table.find(appids[0]);
  const perm_plugin_info* const filed = listed(list, appids[0]);
  if (held == nullptr)
    throw Failure(
        kFailed,
        std::string(kPackageFile) + " lists " + appid +
            ", which the table lacks, and would be written without it",
        "To fill the table from the file: zelctl perm init --again. To write the file from the table: zelctl "
        "perm save");
  throw Failure(kFailed,
                std::string(kPackageFile) + " and the table differ about " + appid +
                    ". File: " + described(filed) + ". Table: " + described(held),
                "The table is in force. To write it to the file: zelctl perm save. To put the file in force: "
                "zelctl perm "
                "init --again");
}

}  // namespace zelctl
