#include "perm/slot_store.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include "base/handles.h"

namespace {

// What one call changes, as it goes through the pipe: no gaps, less than a page.
struct Change {
  perm_plugin_slot slot;
  int32_t count;
};
static_assert(sizeof(Change) == sizeof(perm_plugin_slot) + sizeof(int32_t));

// A process dies between two instructions or at the end of a system call, never within the copying of one
// buffer of a pipe to the caller's memory. So a single readv writes both places, whatever happens.
bool store_in_one_step(perm_table* table, int index, const Change& change) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  const zel::Descriptor out(ends[0]);
  const zel::Descriptor in(ends[1]);
  if (write(in.get(), &change, sizeof change) != static_cast<ssize_t>(sizeof change)) return false;
  const iovec places[] = {{&table->plugins[index], sizeof change.slot},
                          {&table->plugin_count, sizeof change.count}};
  return readv(out.get(), places, 2) == static_cast<ssize_t>(sizeof change);
}

}  // namespace

namespace zel {

void store_slot(perm_table* table, int index, const perm_plugin_slot& slot, int32_t count) noexcept {
  if (store_in_one_step(table, index, {slot, count})) return;
  // No descriptor is left for a pipe. The change is still made; only a kill within these lines would halve it.
  table->plugins[index] = slot;
  table->plugin_count = count;
}

}  // namespace zel
