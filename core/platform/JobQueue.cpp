#include "core/platform/JobQueue.h"

#include <exception>
#include <utility>

namespace vesk {

// One job under way: the queue is unlocked meanwhile, and locked again when it ends, however it does.
struct JobQueue::Running {
  Running(JobQueue& owner, std::unique_lock<std::mutex>& held) : queue(owner), lock(held) {
    ++queue.running_;
    lock.unlock();
  }
  ~Running() {
    lock.lock();
    --queue.running_;
    if (std::uncaught_exceptions() > exceptions) queue.jobs_.clear();
    if (queue.running_ == 0) queue.changed_.notify_all();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  JobQueue& queue;
  std::unique_lock<std::mutex>& lock;
  const int exceptions = std::uncaught_exceptions();
};

void JobQueue::add(Job job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  changed_.notify_one();
}

bool JobQueue::work(const std::function<bool()>& isEnough) {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return !jobs_.empty() || running_ == 0; });
    if (jobs_.empty()) return false;
    if (isEnough && isEnough()) return true;
    const Job job = std::move(jobs_.back());
    jobs_.pop_back();
    const Running running(*this, lock);
    job();
  }
}

}  // namespace vesk
