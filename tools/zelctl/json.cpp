#include "json.h"

#include <algorithm>

#include "failure.h"
#include "text.h"

namespace zelctl {
namespace {

// What cJSON made, or a failure.
template <class Pointer>
Pointer made(Pointer pointer) {
  if (!pointer) throw Failure(kFailed, "out of memory", "End some programs and try again.");
  return pointer;
}

struct FreeText {
  void operator()(char* text) const { cJSON_free(text); }
};

}  // namespace

JsonTree json_object() {
  return JsonTree(made(cJSON_CreateObject()));
}

void add(cJSON* object, const char* key, const std::string& text) {
  add(object, key, text.c_str());
}

void add(cJSON* object, const char* key, const char* text) {
  made(cJSON_AddStringToObject(object, key, text));
}

void add(cJSON* object, const char* key, double number) {
  made(cJSON_AddNumberToObject(object, key, number));
}

void add_bool(cJSON* object, const char* key, bool value) {
  made(cJSON_AddBoolToObject(object, key, value ? 1 : 0));
}

cJSON* add_array(cJSON* object, const char* key) {
  return made(cJSON_AddArrayToObject(object, key));
}

cJSON* add_object(cJSON* object, const char* key) {
  return made(cJSON_AddObjectToObject(object, key));
}

void add_item(cJSON* object, const char* key, JsonTree item) {
  if (cJSON_AddItemToObject(object, key, item.get()) == 0) made(static_cast<cJSON*>(nullptr));
  (void)item.release();
}

void append(cJSON* array, JsonTree element) {
  cJSON_AddItemToArray(array, element.release());  // Neither is null, so this cannot fail.
}

void append(cJSON* array, double number) {
  append(array, JsonTree(made(cJSON_CreateNumber(number))));
}

void append(cJSON* array, const std::string& text) {
  append(array, JsonTree(made(cJSON_CreateString(text.c_str()))));
}

std::string printed(const cJSON* json) {
  const std::unique_ptr<char, FreeText> text(made(cJSON_PrintUnformatted(json)));
  return std::string(text.get()) + "\n";
}

JsonTree parse_json(const std::string& text, std::string* where) {
  const char* end = nullptr;
  JsonTree tree(cJSON_ParseWithOpts(text.c_str(), &end, 1));
  if (tree && end == text.c_str() + text.size()) return tree;
  const auto stop = text.begin() + (end != nullptr ? end - text.c_str() : 0);
  const auto lines = std::count(text.begin(), stop, '\n');
  const auto line_start = std::find(std::make_reverse_iterator(stop), text.rend(), '\n').base();
  if (where != nullptr)
    *where =
        format("line %d, column %d", static_cast<int>(lines) + 1, static_cast<int>(stop - line_start) + 1);
  return nullptr;
}

}  // namespace zelctl
