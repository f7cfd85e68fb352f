// json.h: documents for scripts. A member is there or, when memory runs out, there is no result: everything that
// builds fails then. Texts from outside are made readable.
#pragma once
#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

#include "handles.h"

namespace zelctl {

using JsonTree = std::unique_ptr<cJSON, GivenBackBy<cJSON_Delete>>;

// Whether it is there, and of that type or of one of those.
inline bool is(const cJSON* item, int types) {
  return item != nullptr && (item->type & types) != 0;
}

void add_text(cJSON* object, const char* key, const char* text);
// The text of a record's field, which need not end within it.
void add_field(cJSON* object, const char* key, const char* field, size_t size);
template <size_t Size>
void add_field(cJSON* object, const char* key, const char (&field)[Size]) {
  add_field(object, key, field, Size);
}
void add_number(cJSON* object, const char* key, int64_t number);
void add_bool(cJSON* object, const char* key, bool value);
// Empty ones, part of the object.
cJSON* add_array(cJSON* object, const char* key);
cJSON* add_object(cJSON* object, const char* key);

void append_text(cJSON* array, const char* text);
void append_number(cJSON* array, int64_t number);
cJSON* append_object(cJSON* array);

// A whole number in all its digits: cJSON has doubles only.
cJSON* exact(int64_t number);

// Fails for null, which is what cJSON gives when memory runs out.
void require_memory(const void* made);

// The document without blanks, with a line end; the same without one; and as people read it.
std::string one_line(const cJSON* json);
std::string compact(const cJSON* json);
std::string pretty(const cJSON* json);

// The document, which must be the whole text. Null, with the position of the fault as "line 2, column 5" in
// *where, if it is none.
JsonTree parse_json(const std::string& text, std::string* where);

}  // namespace zelctl
