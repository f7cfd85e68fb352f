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

int change_semaphore(int semid, short change) {
  // SEM_UNDO: the kernel gives back what a process held when it died.
  sembuf operation{0, change, SEM_UNDO};
  return semop(semid, &operation, 1);
}

}  // namespace

int perm_common_sem_init(void) {
  const key_t key = ftok(kKeyPath, kSemaphoreProject);
  if (key == -1) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "ftok error:%s", strerror(errno));
    return -1;
  }
  const int semid = semget(key, 1, kCreate);
  if (semid == -1) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "semget error:%s", strerror(errno));
    return -1;
  }
  if (semctl(semid, 0, SETVAL, 1) == -1) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "semctl error:%s", strerror(errno));
    return -1;
  }
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
  if (key == -1) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "ftok error:%s", strerror(errno));
    return -1;
  }
  const int shmid = shmget(key, sizeof(perm_table), kCreate);
  if (shmid == -1) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "shmget error:%s", strerror(errno));
  }
  return shmid;
}

perm_table* perm_common_shm_map(int shmid) {
  void* const address = shmat(shmid, nullptr, SHM_RND);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the failure value that shmat documents.
  if (address == reinterpret_cast<void*>(-1)) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "shmat error:%s", strerror(errno));
    return nullptr;
  }
  return static_cast<perm_table*>(address);
}

int perm_common_shm_unmap(const perm_table* table) {
  const int result = shmdt(table);
  if (result == -1) ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "shmdt error:%s", strerror(errno));
  return result;
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
