#include "bare_query.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

}  // namespace

const perm_table* bare_query::attach() {
  const key_t key = ftok("/proc", '$');
  const int shmid = key != -1 ? shmget(key, sizeof(perm_table), IPC_CREAT | 0666) : -1;
  if (shmid == -1) give_up("shmget");
  const void* const address = shmat(shmid, nullptr, SHM_RND);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the failure value that shmat documents.
  if (address == reinterpret_cast<const void*>(-1)) give_up("shmat");
  return static_cast<const perm_table*>(address);
}

void bare_query::change_semaphore(int semid, short by) {
  sembuf operation{0, by, SEM_UNDO};
  if (semop(semid, &operation, 1) != 0) give_up("semop");
}

void bare_query::detach(const perm_table* table) {
  if (shmdt(table) != 0) give_up("shmdt");
}
