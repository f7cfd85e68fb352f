// slot_store.h: changing a slot of the shared table.
#pragma once

#include <zel/perm.h>

namespace zel {

// Gives slot `index` its new content and the table its new count, both or neither: the table outlives a process
// that is killed half-way, and the kernel gives the dead one's lock to the next as if all were well. (In a process
// without a descriptor for a pipe the change is made all the same, but a kill can halve it.) The table's semaphore
// must be held.
void store_slot(perm_table* table, int index, const perm_plugin_slot& slot, int32_t count) noexcept;

}  // namespace zel
