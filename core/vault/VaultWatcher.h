#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "core/platform/FolderWatcher.h"

namespace vesk {

// Tells of changes to a vault, whoever makes them, from its creation until it is released. What the vault doesn't list
// is passed over: every path with a component that begins with "." or isn't UTF-8.
class VaultWatcher {
 public:
  static constexpr std::chrono::milliseconds defaultLatency{300};

  // Called once per batch of changes, on a thread of the watcher's own, with the vault-relative paths that have
  // changed: sorted, each once. An empty list stands for the whole vault.
  using OnChange = std::function<void(const std::vector<std::string>& paths)>;

  // Throws as FolderWatcher does when the vault can't be watched.
  VaultWatcher(const std::string& root, OnChange onChange, std::chrono::milliseconds latency = defaultLatency);

 private:
  FolderWatcher watcher_;
};

}  // namespace vesk
