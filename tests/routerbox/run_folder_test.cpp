// The folders in which boxes are found.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "routerbox/isolation/run_folder.h"
#include "run.h"

namespace {

class Folders : public testing::Test {
 protected:
  Folders() { setenv("XDG_RUNTIME_DIR", folder_.root().c_str(), 1); }
  ~Folders() override { unsetenv("XDG_RUNTIME_DIR"); }

  const HostFolder folder_;
};

TEST_F(Folders, AreNotTakenForDeadBoxesWhileTheyAreMade) {
  std::atomic<bool> done{false};
  std::thread looker([&] {
    while (!done) {
      routerbox::running_boxes();
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 200; ++i) {
    try {
      const routerbox::BoxPlace place("box", "");
      EXPECT_EQ(std::vector<std::string>{"box"}, routerbox::running_boxes()) << i;
    } catch (const routerbox::Failure& failure) {
      ADD_FAILURE() << i << ": " << failure.what();
    }
  }
  done = true;
  looker.join();
}

}  // namespace
