#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
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
    return waitUntil([path](const Batch& batch) { return batch.empty() || std::ranges::count(batch, path) > 0; });
  }

  bool waitForEmptyBatch() { return waitUntil(std::mem_fn(&Batch::empty)); }

  // The paths of all batches, sorted, each once.
  Batch paths() const {
    std::set<std::string> all;
    for (const Batch& batch : batches()) all.insert(batch.begin(), batch.end());
    return {all.begin(), all.end()};
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
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return std::ranges::any_of(batches_, isAwaited); });
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Batch> batches_;
};

}  // namespace vesk::test
