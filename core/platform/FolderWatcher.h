#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vesk {

// Watches a folder and everything below it for changes, on a thread of its own, until it is destroyed.
//
// Changes come in batches: `latency` after the first one, `onBatch` is called on that thread with the paths that have
// changed since, relative to the root, sorted, each once. A folder that is new, moved in or renamed counts with all
// that is in it. An empty list means that anything may have changed: more happened than the system remembers, or the
// root itself was taken away or put back.
//
// Where `ignores` is true of a name, neither it nor anything below it is looked at. Links to folders aren't followed.
//
// When the system's limit of watches is reached later than at the start, the folders that can be watched still are,
// and an empty list comes every half minute until all of them can be.
class FolderWatcher {
 public:
  using OnBatch = std::function<void(const std::vector<std::string>& paths)>;  // what it throws is dropped
  using Ignores = std::function<bool(std::string_view name)>;

  // Every change after the return is seen. FileError when the root can't be watched; Error when the system's limit of
  // watches is reached.
  FolderWatcher(const std::string& root, std::chrono::milliseconds latency, OnBatch onBatch, Ignores ignores);

  // Waits for the call of onBatch that is under way; none comes after it. onBatch itself may destroy the watcher.
  ~FolderWatcher();
  FolderWatcher(const FolderWatcher&) = delete;
  FolderWatcher& operator=(const FolderWatcher&) = delete;

 private:
  class Session;
  std::shared_ptr<Session> session_;  // the thread's too, which outlives a watcher that onBatch destroys
  std::thread thread_;
};

}  // namespace vesk
