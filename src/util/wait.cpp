// Waiting with a limit.
#include <pthread.h>
#include <sys/time.h>

#include <cerrno>

#include <zel/util.h>

int qo_wait_signal(pthread_cond_t* condition, pthread_mutex_t* mutex, int milliseconds) {
  constexpr long kSecond = 1000000000;
  if (condition == nullptr || mutex == nullptr) return EINVAL;
  timeval now;
  gettimeofday(&now, nullptr);
  const long nanoseconds = now.tv_usec * 1000 + (milliseconds % 1000) * 1000000L;
  timespec deadline;
  deadline.tv_sec = now.tv_sec + milliseconds / 1000 + nanoseconds / kSecond;
  deadline.tv_nsec = nanoseconds % kSecond;
  if (deadline.tv_nsec < 0) {  // A negative limit is over at once.
    deadline.tv_nsec += kSecond;
    --deadline.tv_sec;
  }
  return pthread_cond_timedwait(condition, mutex, &deadline);
}
