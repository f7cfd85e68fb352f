// failing.h: the nth call of a system function fails, so that tests reach every path of failure.
//
// For tests with FAILING in their CMakeLists.txt and the objects of what they test: the linker leads the calls there,
// and the test's own, through failing.cpp. What libcurl, OpenSSL, libubus and libc call themselves is not touched,
// except that cJSON allocates through it.
#pragma once

// Functions that fail alike are one kind; failing.cpp has a row for each function.
enum class Fails {
  kMemory,    // what allocates, cJSON too
  kOpen,      // whatever gives a descriptor
  kRead,      // with lseek
  kWrite,     // with send
  kClose,     // closes all the same
  kFlush,     // to the disk
  kRename,    // whatever changes a folder
  kStat,      // with what changes mode and owner
  kProgram,   // fork, popen, pclose, system
  kSocket,    // socket, connect, and the waits
  kThread,    // pthread_create
  kSegment,   // ftok and shared memory
  kSemaphore  // semget, semctl, semop
};

// While it lives, the nth call (1 is the first) of a kind by this thread fails with that errno. One at a time.
class Failing {
 public:
  Failing(Fails kind, int nth, int error);
  ~Failing();
  Failing(const Failing&) = delete;
  Failing& operator=(const Failing&) = delete;

  // Whether there were as many calls.
  bool has_failed() const;
};

// Runs call(nth) with the first, then with the second call of the kind failing, and so on, until one has fewer.
// `call` must not check anything itself: what gtest does counts too. After each, done(nth) runs with all well again.
// Returns how many calls failed.
template <class Call, class Done>
int fail_each(Fails kind, int error, Call call, Done done) {
  for (int nth = 1;; ++nth) {
    bool failed = false;
    {
      const Failing failing(kind, nth, error);
      call(nth);
      failed = failing.has_failed();
    }
    done(nth);
    if (!failed) return nth - 1;
  }
}
