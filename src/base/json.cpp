#include "base/json.h"

namespace zel {

int json_type(const cJSON* item) noexcept {
  static constexpr struct {
    int bit;
    int number;
  } kTypes[] = {{cJSON_False, 0},
                {cJSON_True, 1},
                {cJSON_NULL, 2},
                {cJSON_Number, kJsonNumber},
                {cJSON_String, kJsonString},
                {cJSON_Array, kJsonArray},
                {cJSON_Object, kJsonObject}};
  if (item == nullptr) return -1;
  for (const auto& type : kTypes) {
    if ((item->type & 0xFF) == type.bit) return type.number;
  }
  return -1;
}

const cJSON* json_member(const cJSON* object, const char* name) noexcept {
  if (json_type(object) != kJsonObject) return nullptr;
  const cJSON* exact = cJSON_GetObjectItemCaseSensitive(object, name);
  return exact != nullptr ? exact : cJSON_GetObjectItem(object, name);
}

const cJSON* json_member(const cJSON* object, const char* name, JsonType type) noexcept {
  const cJSON* member = json_member(object, name);
  return json_type(member) == type ? member : nullptr;
}

const cJSON* json_exact_member(const cJSON* object, const char* name, JsonType type) noexcept {
  const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, name);
  return json_type(member) == type ? member : nullptr;
}

uint32_t json_bits(const cJSON* number) noexcept {
  const double value = number->valuedouble;
  const bool unsigned_range = value > INT32_MAX && value <= UINT32_MAX;
  return unsigned_range ? static_cast<uint32_t>(value) : static_cast<uint32_t>(number->valueint);
}

}  // namespace zel
