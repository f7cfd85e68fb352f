// crowd.h: as many threads as there are requests under way.
#pragma once
#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace routerbox {

// A client that is silent, or that has to wait because a fault says so, holds a thread; the others get threads of
// their own, so that it does not stand in their way. Threads end when there was nothing to do for a while.
class Crowd : public httplib::TaskQueue {
 public:
  // More jobs than `most` at once wait.
  explicit Crowd(size_t most) : most_(most) {}

  void enqueue(std::function<void()> job) override;
  // Returns when all jobs are done.
  void shutdown() override;

 private:
  void start_thread();
  void work();

  const size_t most_;
  std::mutex mutex_;  // guards all below
  std::condition_variable changed_, gone_;
  std::deque<std::function<void()>> jobs_;
  size_t threads_ = 0, idle_ = 0;
  bool over_ = false;
};

}  // namespace routerbox
