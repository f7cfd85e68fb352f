// worker.h: one thread for what takes its time, so that the service thread, which calls the handlers, stays free.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class Worker {
 public:
  using Job = std::function<void()>;

  Worker() : thread_([this] { work(); }) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Jobs are done one after the other, and must not throw.
  void post(Job job) {
    {
      const std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
    }
    changed_.notify_all();
  }

  // Returns when nothing is left to do, or after this time.
  void wait_for(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return jobs_.empty(); });
  }

 private:
  [[noreturn]] void work() {
    for (std::unique_lock lock(mutex_);;) {
      changed_.wait(lock, [this] { return !jobs_.empty(); });
      const Job job = jobs_.front();
      lock.unlock();
      job();
      lock.lock();
      jobs_.pop_front();  // only now, so that wait_for() waits for its end
      changed_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;  // guarded by mutex_
  std::thread thread_;    // the last member: it uses the others
};
