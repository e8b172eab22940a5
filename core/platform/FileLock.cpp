#include "core/platform/FileLock.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <thread>

#include <sys/file.h>

#include "core/platform/FileError.h"

namespace vesk {

FileLock::FileLock(const std::string& folderPath, std::chrono::milliseconds patience)
    : fd_(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!fd_) throw FileError("lock", folderPath, errno);
  const auto deadline = std::chrono::steady_clock::now() + patience;
  auto pause = std::chrono::microseconds(200);
  while (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline)
      throw FileError("lock", folderPath, errno);
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(10'000));
  }
}

}  // namespace vesk
