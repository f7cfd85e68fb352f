#include "crowd.h"

#include <chrono>
#include <system_error>
#include <thread>

namespace routerbox {
namespace {

constexpr std::chrono::seconds kIdleLimit(5);

}  // namespace

void Crowd::enqueue(std::function<void()> job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  if (idle_ < jobs_.size() && threads_ < most_) start_thread();
  changed_.notify_one();
}

void Crowd::start_thread() {
  try {
    std::thread([this] { work(); }).detach();
    ++threads_;
  } catch (const std::system_error&) {
    // The system has no more threads for us. Those there are take the job when they are done.
    if (threads_ == 0) throw;
  }
}

void Crowd::shutdown() {
  std::unique_lock lock(mutex_);
  over_ = true;
  changed_.notify_all();
  gone_.wait(lock, [this] { return threads_ == 0; });
}

void Crowd::work() {
  std::unique_lock lock(mutex_);
  while (true) {
    ++idle_;
    changed_.wait_for(lock, kIdleLimit, [this] { return over_ || !jobs_.empty(); });
    --idle_;
    if (jobs_.empty()) break;
    const std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
  --threads_;
  gone_.notify_all();
}

}  // namespace routerbox
