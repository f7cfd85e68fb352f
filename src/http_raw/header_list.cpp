// Lists of names and values.
#include <zel/http_raw.h>
#include <zel/util.h>

namespace {

// The link that points to the element of that name, or to the list's end.
http_header_elem** find(http_header_elem** list, const char* name) {
  while (*list != nullptr && qo_strcasecmp((*list)->name, name) != 0) list = &(*list)->next;
  return list;
}

http_header_elem* new_element(mem_pool* pool) {
  return static_cast<http_header_elem*>(mem_pcalloc_safe(pool, sizeof(http_header_elem)));
}

}  // namespace

int http_header_list_add_elem(mem_pool* pool, http_header_elem** list, const char* name, const char* value) {
  if (pool == nullptr || list == nullptr || name == nullptr || value == nullptr) return -1;
  http_header_elem* const fresh = new_element(pool);  // Kept: taken from the pool even when it is not used.
  if (fresh == nullptr) return -1;
  http_header_elem* const found = *find(list, name);
  if (found != nullptr) {
    found->name = name;
    found->value = value;
    return 0;
  }
  *fresh = {name, value, *list};
  *list = fresh;
  return 0;
}

int http_header_list_del_elem(mem_pool* pool, http_header_elem** list, const char* name) {
  if (pool == nullptr || list == nullptr || name == nullptr) return -1;
  if (new_element(pool) == nullptr) return -1;  // Kept: takes an element from the pool too.
  http_header_elem** const link = find(list, name);
  if (*link != nullptr) *link = (*link)->next;
  return 0;
}
