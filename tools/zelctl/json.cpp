#include "json.h"

#include <cstring>

#include "failure.h"
#include "text.h"

namespace zelctl {
namespace {

void append(cJSON* array, cJSON* element) {
  require_memory(element);
  cJSON_AddItemToArray(array, element);
}

std::string text_from(char* printed) {
  const std::unique_ptr<char, GivenBackBy<cJSON_free>> text(printed);
  require_memory(text.get());
  return text.get();
}

std::string digits_of(int64_t number) {
  return format("%lld", static_cast<long long>(number));
}

}  // namespace

cJSON* exact(int64_t number) {
  return cJSON_CreateRaw(digits_of(number).c_str());
}

void require_memory(const void* made) {
  if (made == nullptr) fail(kFailed, "End some programs and try again.", "out of memory");
}

void add_text(cJSON* object, const char* key, const char* text) {
  require_memory(cJSON_AddStringToObject(object, key, readable(text, "\t\r\n").c_str()));
}

void add_field(cJSON* object, const char* key, const char* field, size_t size) {
  add_text(object, key, std::string(field, strnlen(field, size)).c_str());
}

void add_number(cJSON* object, const char* key, int64_t number) {
  require_memory(cJSON_AddRawToObject(object, key, digits_of(number).c_str()));
}

void add_bool(cJSON* object, const char* key, bool value) {
  require_memory(cJSON_AddBoolToObject(object, key, value ? 1 : 0));
}

cJSON* add_array(cJSON* object, const char* key) {
  cJSON* const array = cJSON_AddArrayToObject(object, key);
  require_memory(array);
  return array;
}

cJSON* add_object(cJSON* object, const char* key) {
  cJSON* const inner = cJSON_AddObjectToObject(object, key);
  require_memory(inner);
  return inner;
}

void append_text(cJSON* array, const char* text) {
  append(array, cJSON_CreateString(readable(text, "\t\r\n").c_str()));
}

void append_number(cJSON* array, int64_t number) {
  append(array, exact(number));
}

cJSON* append_object(cJSON* array) {
  cJSON* const object = cJSON_CreateObject();
  append(array, object);
  return object;
}

std::string compact(const cJSON* json) {
  return text_from(cJSON_PrintUnformatted(json));
}

std::string pretty(const cJSON* json) {
  return text_from(cJSON_Print(json));
}

std::string one_line(const cJSON* json) {
  return compact(json) + '\n';
}

JsonTree parse_json(const std::string& text, std::string* where) {
  const char* end = text.c_str();
  JsonTree tree(cJSON_ParseWithOpts(text.c_str(), &end, 1));
  if (tree && end == text.c_str() + text.size()) return tree;
  int line = 1;
  int column = 1;
  for (const char* c = text.c_str(); c < end; ++c) {
    column = *c == '\n' ? 1 : column + 1;
    line += *c == '\n' ? 1 : 0;
  }
  *where = format("line %d, column %d", line, column);
  return nullptr;
}

}  // namespace zelctl
