#pragma once

#include <cerrno>
#include <chrono>
#include <concepts>
#include <filesystem>
#include <stdlib.h>
#include <string>
#include <system_error>

#include "core/platform/FileError.h"

// What measurements inside this very process need.
namespace vesk::bench {

// An empty folder that goes away with the object.
class MadeFolder {
 public:
  MadeFolder() {
    if (!::mkdtemp(path_.data())) throw FileError("make", path_, errno);
  }
  ~MadeFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  MadeFolder(const MadeFolder&) = delete;
  MadeFolder& operator=(const MadeFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX";
};

double millisecondsOf(const std::invocable auto& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace vesk::bench
