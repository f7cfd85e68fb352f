// change_lock.h: one change at a time.
#pragma once
#include "handles.h"

namespace zelctl {

// Held while zelctl reads the table, works out a change and makes it. The table's own semaphore covers only the last
// of these, so that of two updates at once one would put back what the other had changed.
class ChangeLock {
 public:
  // Waits for its turn, and says so; fails when that takes too long.
  ChangeLock();

 private:
  Descriptor fd_;
};

}  // namespace zelctl
