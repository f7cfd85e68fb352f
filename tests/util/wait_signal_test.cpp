#include <pthread.h>

#include <cerrno>
#include <chrono>

#include "support/cases.h"

TEST(WaitSignal, EndsAtItsLimit) {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  for (const int limit : {999, -1999}) {  // past the whole second at nearly every time of day
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(qo_wait_signal(&condition, &mutex, limit), ETIMEDOUT) << limit;
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(limit - 1));
  }
}
