// A permission query as the system calls it cannot do without.
#pragma once

#include <zel/perm.h>

namespace bare_query {

// These end the program when a call fails.
const perm_table* attach();
void change_semaphore(int semid, short by);
void detach(const perm_table* table);

// The key is made and the segment looked for each time, since a query has nothing to find it by but the name
// both sides agree on; the semaphore's id is read from the table, which is where it is kept.
template <class Read>
void ask(Read read) {
  const perm_table* const table = attach();
  const int semid = table->semid;
  change_semaphore(semid, -1);
  read(*table);
  change_semaphore(semid, 1);
  detach(table);
}

}  // namespace bare_query
