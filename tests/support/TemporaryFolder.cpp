#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>

#include <sys/stat.h>

namespace vesk::test {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (fs::temp_directory_path() / "vesk-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
  base_ = fs::canonical(pattern).string();
  path_ = base_ + "/vault";
  for (const char* folder : {"/vault", "/support", "/data", "/home"}) fs::create_directory(base_ + folder);
  setenv("HOME", (base_ + "/home").c_str(), 1);
  setenv("XDG_DATA_HOME", (base_ + "/data").c_str(), 1);
  setenv("VESK_SUPPORT_DIR", (base_ + "/support").c_str(), 1);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(base_, ignored);
}

std::string TemporaryFolder::at(std::string_view relative) const { return path_ + "/" + std::string(relative); }

void TemporaryFolder::write(std::string_view relative, std::string_view text) const {
  fs::create_directories(fs::path(at(relative)).parent_path());
  std::ofstream file(at(relative), std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + at(relative));
}

std::string TemporaryFolder::read(std::string_view relative) const {
  std::ifstream file(at(relative), std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + at(relative));
  return {std::istreambuf_iterator<char>(file), {}};
}

bool TemporaryFolder::has(std::string_view relative) const { return fs::exists(fs::symlink_status(at(relative))); }

void TemporaryFolder::setModified(std::string_view relative, long secondsSince1970) const {
  const timespec times[2] = {{0, UTIME_OMIT}, {secondsSince1970, 0}};
  if (utimensat(AT_FDCWD, at(relative).c_str(), times, 0) != 0) throw std::runtime_error("cannot set times");
}

std::map<std::string, std::string> TemporaryFolder::contents() const { return contentsOf(base_); }

std::map<std::string, std::string> contentsOf(const std::string& folder) {
  std::map<std::string, std::string> contents;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().string().substr(folder.size() + 1);
    if (entry.is_regular_file()) {
      std::ifstream file(entry.path(), std::ios::binary);
      contents[path] = std::string(std::istreambuf_iterator<char>(file), {});
    } else {
      contents[path + "/"] = "";
    }
  }
  return contents;
}

std::vector<std::string> TemporaryFolder::everything() const {
  std::vector<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(path_)) {
    std::string relative = entry.path().string().substr(path_.size() + 1);
    if (entry.is_directory() && !entry.is_symlink()) relative += '/';
    found.push_back(std::move(relative));
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace vesk::test
