// json_file.h: where the permission system's two files are, and reading one.
#pragma once

#include <zel/perm.h>

#include "base/json.h"

namespace zel {

inline constexpr const char* kPermissionFile = "/etc/norva/permissions.json";
inline constexpr const char* kPackageFile = "/etc/norva/packages.json";

// Reads the array of objects under `key` of the file's root object and hands its elements to `store`, which
// returns false for a malformed one; that ends the reading, and so does the end of the table's room.
// Returns 0, 7008, 7009, 7010, 7011 or 7022.
[[nodiscard]] int read_elements(const char* path, const char* key, int room,
                                bool (*store)(perm_table*, int, const cJSON*), perm_table* table);

}  // namespace zel
