#include "perm/json_file.h"

#include <fcntl.h>

#include "base/whole_file.h"

namespace {

int result_of(zel::FileFault fault) {
  switch (fault) {
    case zel::FileFault::kNone:
      return 0;
    case zel::FileFault::kNotOpened:
      return PERM_NOT_OPENED;
    case zel::FileFault::kNoMemory:
      return PERM_NO_MEMORY;
    default:
      return PERM_SHORT_READ;
  }
}

}  // namespace

namespace zel {

int read_elements(const char* path, const char* key, int room, bool (*store)(perm_table*, int, const cJSON*),
                  perm_table* table) {
  // A reader without write permission is refused here already.
  const WholeFile file = read_whole_file(path, O_RDWR);
  if (const int result = result_of(file.fault); result != 0) return result;
  const JsonTree root(cJSON_Parse(file.text.get()));
  if (!root) return PERM_NOT_JSON;
  const cJSON* const array = json_member(root.get(), key, kJsonArray);
  if (array == nullptr) return PERM_MALFORMED;

  int index = 0;
  for (const cJSON* element = array->child; element != nullptr && index < room; element = element->next) {
    if (!store(table, index, element)) return PERM_MALFORMED;
    ++index;
  }
  return 0;
}

}  // namespace zel
