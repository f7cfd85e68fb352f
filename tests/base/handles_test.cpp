#include "base/handles.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>

#include "base/command.h"
#include "support/cancelled.h"

TEST(Handles, AreReleasedWhenACancellationWaits) {
  SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED();
  const auto before = open_descriptors();
  const auto hold = [] {
    const zel::Descriptor descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const zel::File file(fopen("/dev/null", "re"));
    const zel::Directory directory(opendir("/"));
    const zel::Command command(":");
    pthread_cancel(pthread_self());
  };
  // A cancellation from outside could hit open() between its success and its return.
  std::atomic<bool> released = false;
  const auto body = [&] {
    hold();
    released = true;
    pthread_testcancel();
  };
  EXPECT_TRUE(ends_cancelled(body, [&] { return released.load(); }));
  EXPECT_EQ(open_descriptors(), before);
}
