#include "json_result.h"

#include "report.h"

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

void add(const JsonTree& object, const char* key, const std::string& text) {
  made(cJSON_AddStringToObject(object.get(), key, text.c_str()));
}

void add(const JsonTree& object, const char* key, double number) {
  made(cJSON_AddNumberToObject(object.get(), key, number));
}

cJSON* add_array(const JsonTree& object, const char* key) {
  return made(cJSON_AddArrayToObject(object.get(), key));
}

void append(cJSON* array, JsonTree element) {
  cJSON_AddItemToArray(array, element.release());  // Neither is null, so this cannot fail.
}

void append(cJSON* array, double number) {
  append(array, JsonTree(made(cJSON_CreateNumber(number))));
}

std::string printed(const JsonTree& json) {
  const std::unique_ptr<char, FreeText> text(made(cJSON_PrintUnformatted(json.get())));
  return std::string(text.get()) + "\n";
}

}  // namespace zelctl
