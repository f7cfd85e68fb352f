#include "perm/json_file.h"

namespace {

// 0, 7008, 7009 or 7010.
int read_whole(const char* path, zel::Memory<char>* text) noexcept {
  // Opened for update: a reader without write permission is refused here already.
  const zel::File file(fopen(path, "rb+e"));
  if (!file) return PERM_NOT_OPENED;
  fseek(file.get(), 0, SEEK_END);
  const long length = ftell(file.get());
  if (length < 0) return PERM_SHORT_READ;  // Not a file that has a length, such as a FIFO.
  rewind(file.get());

  text->reset(static_cast<char*>(calloc(static_cast<size_t>(length) + 1, 1)));
  if (!*text) return PERM_NO_MEMORY;
  const size_t read = fread(text->get(), 1, static_cast<size_t>(length), file.get());
  return read == static_cast<size_t>(length) ? 0 : PERM_SHORT_READ;
}

}  // namespace

namespace zel {

int read_elements(const char* path, const char* key, int room, bool (*store)(perm_table*, int, const cJSON*),
                  perm_table* table) noexcept {
  Memory<char> text;
  if (const int result = read_whole(path, &text); result != 0) return result;
  const JsonTree root(cJSON_Parse(text.get()));
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
