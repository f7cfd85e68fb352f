#include "perm/shared_table.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstring>

#include "base/log.h"

namespace {

constexpr const char* kKeyPath = "/proc";
constexpr int kSemaphoreProject = '#';
constexpr int kSegmentProject = '$';
constexpr int kCreate = IPC_CREAT | 0666;

// Logs why a call to the system failed, under the name of the function that made it. Returns -1.
int fail(const char* call, const char* who = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  zel_log(LOG_DEBUG, "[PERM] %s:%d %s error:%s", who, line, call, strerror(errno));
  return -1;
}

int change_semaphore(int semid, short change) {
  // SEM_UNDO: the kernel gives back what a process held when it died.
  sembuf operation{0, change, SEM_UNDO};
  return semop(semid, &operation, 1);
}

}  // namespace

int perm_common_sem_init(void) {
  const key_t key = ftok(kKeyPath, kSemaphoreProject);
  if (key == -1) return fail("ftok");
  const int semid = semget(key, 1, kCreate);
  if (semid == -1) return fail("semget");
  if (semctl(semid, 0, SETVAL, 1) == -1) return fail("semctl");
  return semid;
}

int perm_common_sem_p(int semid) {
  return change_semaphore(semid, -1);
}

int perm_common_sem_v(int semid) {
  return change_semaphore(semid, 1);
}

int perm_common_shm_init(void) {
  const key_t key = ftok(kKeyPath, kSegmentProject);
  if (key == -1) return fail("ftok");
  const int shmid = shmget(key, sizeof(perm_table), kCreate);
  return shmid != -1 ? shmid : fail("shmget");
}

perm_table* perm_common_shm_map(int shmid) {
  void* const address = shmat(shmid, nullptr, SHM_RND);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the failure value that shmat documents.
  if (address == reinterpret_cast<void*>(-1)) {
    fail("shmat");
    return nullptr;
  }
  return static_cast<perm_table*>(address);
}

int perm_common_shm_unmap(const perm_table* table) {
  return shmdt(table) == 0 ? 0 : fail("shmdt");
}

namespace zel {

AttachedTable attach_table(int* result) {
  *result = PERM_NO_SEGMENT;
  const int shmid = perm_common_shm_init();
  if (shmid == -1) return nullptr;
  AttachedTable table(perm_common_shm_map(shmid));
  *result = table ? 0 : PERM_NOT_ATTACHED;
  return table;
}

}  // namespace zel
