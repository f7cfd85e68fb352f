// record.h: what the daemon reports of a task, as a task_info.
#pragma once

#include <zel/download.h>

#include "base/json.h"

namespace zel::download {

// Fills ZEL_TASK_ID_SIZE bytes: the text, cut so that it ends in the field, then NULs. The text may lie there.
void copy_task_id(char* field, const char* gid) noexcept;

// Fills all but the id, in the order of the daemon's keys. Returns 0; -1, logged under the name of the caller,
// at the first key that is missing or no text. What was filled until then stays.
[[nodiscard]] int fill_progress(const char* who, const cJSON* entry, task_info* info);

}  // namespace zel::download
