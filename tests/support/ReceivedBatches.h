#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::test {

// What a watcher has told so far. Each wait ends after half a minute at the latest.
class ReceivedBatches {
 public:
  using Batch = std::vector<std::string>;

  void add(const Batch& batch) {
    const std::lock_guard lock(mutex_);
    batches_.push_back(batch);
    changed_.notify_all();
  }

  // True as soon as a batch holds that path, or stands for all paths.
  bool waitFor(std::string_view path) {
    return waitUntil([path](const Batch& batch) {
      return batch.empty() || std::find(batch.begin(), batch.end(), path) != batch.end();
    });
  }

  bool waitForEmptyBatch() { return waitUntil(std::mem_fn(&Batch::empty)); }

  // The paths of all batches, sorted, each once.
  Batch paths() const {
    Batch all;
    for (const Batch& batch : batches()) all.insert(all.end(), batch.begin(), batch.end());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }

  std::vector<Batch> batches() const {
    const std::lock_guard lock(mutex_);
    return batches_;
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    batches_.clear();
  }

 private:
  bool waitUntil(const std::function<bool(const Batch&)>& isAwaited) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30),
                             [&] { return std::any_of(batches_.begin(), batches_.end(), isAwaited); });
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Batch> batches_;
};

}  // namespace vesk::test
