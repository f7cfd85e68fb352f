// json.h: what the router's JSON documents need beyond cJSON.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>

#include "base/handles.h"

namespace zel {

using JsonTree = std::unique_ptr<cJSON, Call<cJSON_Delete>>;
using JsonText = std::unique_ptr<char, Call<cJSON_free>>;

// Item types by their classic cJSON numbers, which appear in messages and documents. cJSON 1.7 has one bit
// for each; json_type is the only place that knows.
enum JsonType : int { kJsonNumber = 3, kJsonString = 4, kJsonArray = 5, kJsonObject = 6 };

// The item's classic type number; -1 for null and for what has no number (raw text).
[[nodiscard]] int json_type(const cJSON* item) noexcept;

// The member of that exact name or, only if there is none, the first one whose name is the same ignoring
// case. Null if `object` is no object or has neither.
[[nodiscard]] const cJSON* json_member(const cJSON* object, const char* name) noexcept;

// The same, but null unless the member has the type.
[[nodiscard]] const cJSON* json_member(const cJSON* object, const char* name, JsonType type) noexcept;

// The member of that exact name, but null unless it has the type.
[[nodiscard]] const cJSON* json_exact_member(const cJSON* object, const char* name, JsonType type) noexcept;

// The number as a 32-bit pattern: both -1 and 4294967295 give all ones. Numbers of more than 32 bits end at
// the nearest that fits.
uint32_t json_bits(const cJSON* number) noexcept;

}  // namespace zel
