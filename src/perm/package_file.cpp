// The list of installed plug-ins.
#include <unistd.h>
#include <zel/perm.h>
#include <zel/util.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/handles.h"
#include "base/json.h"
#include "base/replace_file.h"
#include "perm/json_file.h"
#include "perm/shared_table.h"

namespace {

bool store_plugin(perm_table* table, int index, const cJSON* element) {
  const cJSON* const appname = zel::json_member(element, "appname", zel::kJsonString);
  const cJSON* const appid = zel::json_member(element, "appid", zel::kJsonString);
  const cJSON* const abilitybits = zel::json_member(element, "abilitybits", zel::kJsonNumber);
  const cJSON* const uid = zel::json_member(element, "uid", zel::kJsonNumber);
  if (appname == nullptr || appid == nullptr || abilitybits == nullptr || uid == nullptr) return false;
  perm_plugin_slot& slot = table->plugins[index];
  qo_strncpy(slot.appname, appname->valuestring, sizeof slot.appname);
  qo_strncpy(slot.appid, appid->valuestring, sizeof slot.appid);
  slot.abilitybits = zel::json_bits(abilitybits);
  slot.uid = zel::json_bits(uid);
  slot.used = 1;
  table->plugin_count = zel::count_after(*table, 1);
  return true;
}

// The file's text, put together without a tree of cJSON's: that takes 13 allocations for each plug-in and prints its
// numbers as doubles, slowly on a router without a floating-point unit. The table is written at each of its changes,
// while the guarded calls wait.
class PluginText {
 public:
  explicit operator bool() const noexcept { return text_ != nullptr; }
  const char* get() const noexcept { return text_.get(); }
  size_t length() const noexcept { return static_cast<size_t>(end_ - text_.get()); }

  void add(std::string_view piece) { end_ = std::copy(piece.begin(), piece.end(), end_); }

  void add(const perm_plugin_slot& slot) {
    add(R"({"appname":)");
    quote(slot.appname);
    add(R"(,"appid":)");
    quote(slot.appid);
    // Kept: numbers are signed in the file, so all abilities read -1.
    end_ += snprintf(end_, kNumbers, R"(,"abilitybits":%d,"uid":%d})", static_cast<int32_t>(slot.abilitybits),
                     static_cast<int32_t>(slot.uid));
  }

 private:
  static constexpr size_t kNumbers = 64;

  // At the worst cJSON makes six characters of each, and it wants a few to spare.
  template <size_t kSize>
  static constexpr size_t kQuoted = 6 * kSize + 8;
  static constexpr size_t kPlugin =
      64 + kQuoted<sizeof perm_plugin_slot::appname> + kQuoted<sizeof perm_plugin_slot::appid> + kNumbers;

  template <size_t kSize>
  void quote(const char (&field)[kSize]) {
    char whole[kSize];
    zel::copy_text(whole, field);
    cJSON string{};
    string.type = cJSON_String;
    string.valuestring = whole;
    cJSON_PrintPreallocated(&string, end_, kQuoted<kSize>, 0);
    end_ += strlen(end_);
  }

  // Room for the worst of tables. Only the pages that are written cost memory.
  const zel::Memory<char> text_{static_cast<char*>(malloc(64 + PERM_PLUGIN_SLOTS * kPlugin))};
  char* end_ = text_.get();
};

void print_plugins(const perm_table& table, PluginText& text) {
  text.add(R"({"plugin":[)");
  int count = 0;
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used == 0) continue;
    if (count > 0) text.add(",");
    text.add(slot);
    if (++count == table.plugin_count) break;
  }
  text.add("]}");
}

}  // namespace

int perm_common_write_pluginfo(const perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  zel::FileReplacement file(zel::kPackageFile);
  if (!file) return PERM_NOT_OPENED;
  PluginText text;
  if (!text) return PERM_NO_JSON;
  print_plugins(*table, text);
  return file.finish(text.get(), text.length()) ? 0 : PERM_NO_JSON;
}

int perm_common_read_plugin_file(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  if (access(zel::kPackageFile, F_OK) != 0) return PERM_NO_PACKAGES;
  return zel::read_elements(zel::kPackageFile, "plugin", PERM_PLUGIN_SLOTS, store_plugin, table);
}

int perm_common_analyze_pluginfo(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  const int result = perm_common_read_plugin_file(table);
  return result == 0 || result == PERM_NO_PACKAGES ? 0 : PERM_REJECTED;
}
