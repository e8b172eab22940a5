#pragma once

#include <chrono>
#include <string>

#include "core/platform/Fd.h"

namespace vesk {

// An advisory lock (flock) on a folder, shared by every process that asks for it: held from reading a file to writing
// it back, so that two never lose each other's change. Threads of one process exclude each other too. A lock taken
// while its own thread holds one would wait for itself.
class FileLock {
 public:
  // Waits for whoever holds the lock; FileError (EWOULDBLOCK) when that takes longer than `patience`.
  explicit FileLock(const std::string& folderPath, std::chrono::milliseconds patience = std::chrono::seconds(20));

  // The lock of a single file, where its folder's own is wanted meanwhile. The file is made when it is missing.
  static FileLock onFile(const std::string& path, std::chrono::milliseconds patience = std::chrono::seconds(20));

 private:
  FileLock(Fd fd, const std::string& path, std::chrono::milliseconds patience);

  Fd fd_;
};

}  // namespace vesk
