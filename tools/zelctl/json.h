// json.h: results for scripts. A member is there or, when memory runs out, there is no result: everything that
// builds throws Failure then.
#pragma once
#include <cjson/cJSON.h>

#include <memory>
#include <string>

namespace zelctl {

struct DeleteTree {
  void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using JsonTree = std::unique_ptr<cJSON, DeleteTree>;

JsonTree json_object();

// Texts must be UTF-8 without control characters or be passed through readable() before.
void add(cJSON* object, const char* key, const std::string& text);
void add(cJSON* object, const char* key, const char* text);
void add(cJSON* object, const char* key, double number);
void add_bool(cJSON* object, const char* key, bool value);
// An empty array or object, part of the object.
cJSON* add_array(cJSON* object, const char* key);
cJSON* add_object(cJSON* object, const char* key);
void add_item(cJSON* object, const char* key, JsonTree item);

void append(cJSON* array, JsonTree element);
void append(cJSON* array, double number);
void append(cJSON* array, const std::string& text);

// The document without blanks, with a line end.
std::string printed(const cJSON* json);

// The document, which must be the whole text. Null, with the position of the fault as "line 2, column 5" in
// *where (which may be null), if it is none.
JsonTree parse_json(const std::string& text, std::string* where);

}  // namespace zelctl
