#include "base/handles.h"

#include <fcntl.h>
#include <gtest/gtest.h>

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
  const auto body = [&] {
    hold();
    pthread_testcancel();
  };
  EXPECT_TRUE(ends_cancelled(body, [] { return true; }));
  EXPECT_EQ(open_descriptors(), before);
}
