#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace vesk {

// Jobs that several threads take from, the newest first, and may add to while they work.
class JobQueue {
 public:
  using Job = std::function<void()>;

  void add(Job job);

  // Works until no job is left and none is under way, or until `isEnough` says so between two jobs; whether jobs are
  // left. What a job throws is thrown here, and the jobs still waiting are dropped.
  bool work(const std::function<bool()>& isEnough = {});

 private:
  struct Running;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  int running_ = 0;
};

}  // namespace vesk
