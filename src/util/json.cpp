#include "base/json.h"

#include <zel/util.h>

cJSON* zel_get_cjson_item(const cJSON* object, const char* key, int type) {
  const cJSON* const item = zel::json_member(object, key);
  return item != nullptr && zel::json_type(item) == type ? const_cast<cJSON*>(item) : nullptr;
}
