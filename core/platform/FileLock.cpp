#include "core/platform/FileLock.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <thread>
#include <utility>

#include <sys/file.h>

#include "core/platform/FileError.h"

namespace vesk {

FileLock::FileLock(const std::string& folderPath, std::chrono::milliseconds patience)
    : FileLock(Fd(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), folderPath, patience) {}

FileLock FileLock::onFile(const std::string& path, std::chrono::milliseconds patience) {
  return {Fd(::open(path.c_str(), O_RDONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600)), path, patience};
}

FileLock::FileLock(Fd fd, const std::string& path, std::chrono::milliseconds patience) : fd_(std::move(fd)) {
  if (!fd_) throw FileError("lock", path, errno);
  const auto deadline = std::chrono::steady_clock::now() + patience;
  auto pause = std::chrono::microseconds(200);
  while (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) throw FileError("lock", path, errno);
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(10'000));
  }
}

}  // namespace vesk
