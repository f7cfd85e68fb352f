// request.h: JSON-RPC requests as the daemon gets them. Where memory is short, a request comes out null, never
// with a part missing.
#pragma once

#include "base/json.h"

namespace zel::download {

// The first two of a request's members; "id" is the MD5 digest of `length` bytes of `src`. False if it was not
// added, which is logged for a wrong argument.
[[nodiscard]] bool add_cmd_prefix_to_json(cJSON* request, const char* src, int length);

// The other two members. Returns "params", to be filled, or null.
cJSON* add_call(cJSON* request, const char* method) noexcept;

// All four, with the method's name as "id".
cJSON* add_named_call(cJSON* request, const char* method) noexcept;

// Adds an element, which is null if there was no memory for it.
[[nodiscard]] bool append(cJSON* array, JsonTree element) noexcept;

// A new object at the end of the array, owned by it; or null.
cJSON* append_object(cJSON* array) noexcept;

// The names of what the daemon shall tell about each task.
[[nodiscard]] bool append_status_keys(cJSON* params) noexcept;

// The indented text, if all of the request is there.
[[nodiscard]] JsonText print(const JsonTree& request, bool whole) noexcept;

}  // namespace zel::download
