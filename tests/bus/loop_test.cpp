// The loop alone, with pipes for descriptors.
#include "bus/loop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace {

zel::Loop loop;
std::string turned;  // The names of the pipes whose handlers were called.

struct Pipe {
  explicit Pipe(const char* name) : name_(name) {
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_TRUE(loop.add(
        ends[0], [](int, void* self) { turned += static_cast<Pipe*>(self)->name_; }, this));
  }
  ~Pipe() {
    close(ends[0]);
    close(ends[1]);
  }
  void fill() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }

  const char* name_;
  int ends[2];
};

class LoopTest : public testing::Test {
 protected:
  LoopTest() { loop.clear(); }
  std::string turn(int limit_ms = 0) {
    turned.clear();
    loop.turn(0);  // The wake event of the last addition.
    loop.turn(limit_ms);
    return turned;
  }
};

}  // namespace

TEST_F(LoopTest, CallsTheHandlersOfWhatIsReadableAndWaitedFor) {
  const Pipe a("a");
  const Pipe b("b");
  const Pipe c("c");
  for (const Pipe* each : {&a, &c}) each->fill();
  EXPECT_EQ(turn(), "acac");
  loop.pause(&a);
  EXPECT_FALSE(loop.waits_for(&a));
  EXPECT_EQ(turn(), "cc");
  loop.replace(&a, b.ends[0], const_cast<Pipe*>(&b));  // The entry of a gets b's pipe.
  loop.forget(&c);
  EXPECT_EQ(turn(), "");
  b.fill();
  EXPECT_EQ(turn(), "bb");
}

TEST_F(LoopTest, WakesAThreadThatWaitsOnTheTableAsItWas) {
  turn();
  std::thread thread([] { loop.turn(-1); });
  const Pipe late("late");
  thread.join();
}

TEST_F(LoopTest, GoesOnWhenADescriptorIsClosedBehindItsBack) {
  const Pipe other("o");
  const Pipe gone("g");
  close(gone.ends[0]);
  turn();
  other.fill();
  EXPECT_EQ(turn(), "oo");
  EXPECT_FALSE(loop.waits_for(&gone));
}
