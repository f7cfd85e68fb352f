// json_result.h: results for scripts. A member is there or, when memory runs out, there is no result: everything
// here throws Failure then.
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
void add(const JsonTree& object, const char* key, const std::string& text);
void add(const JsonTree& object, const char* key, double number);

// An empty array, part of the object.
cJSON* add_array(const JsonTree& object, const char* key);
void append(cJSON* array, JsonTree element);
void append(cJSON* array, double number);

// The document without blanks, with a line end.
std::string printed(const JsonTree& json);

}  // namespace zelctl
