// The least that any program over a folder of notes has to do, as fast as a plain program gets:
//
//   floor read FOLDER    lists, opens and reads every note
//   floor stat FOLDER    lists every note and asks for its size and time
//
// Prints the notes, their bytes, and the milliseconds it took from the first folder to the last note.

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>

#include "core/platform/Fd.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

struct Totals {
  std::size_t notes = 0;
  std::size_t bytes = 0;
};

// Nothing is measured once something can't be read: ends the program, whatever the other thread is doing.
[[noreturn]] void fail(std::string_view action, std::string_view path, int code) {
  fmt::print(stderr, "floor: {}\n", FileError(action, path, code).what());
  std::fflush(stderr);
  std::_Exit(1);
}

// Folders that are still to be read. A worker that finds none waits until another has added some, or all are idle.
class FolderQueue {
 public:
  explicit FolderQueue(std::string first) { folders_.push_back(std::move(first)); }

  void add(std::string folder) {
    {
      const std::lock_guard lock(mutex_);
      folders_.push_back(std::move(folder));
    }
    changed_.notify_one();
  }

  // False when every folder has been read. To be called again when the folder taken before has been read.
  bool take(std::string& folder) {
    std::unique_lock lock(mutex_);
    if (!folder.empty()) --busy_;
    changed_.wait(lock, [this] { return !folders_.empty() || busy_ == 0; });
    if (folders_.empty()) {
      changed_.notify_all();
      return false;
    }
    folder = std::move(folders_.back());
    folders_.pop_back();
    ++busy_;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> folders_;
  int busy_ = 0;  // workers that are reading a folder
};

// What is done to each note: gives its size.
class NoteReader {
 public:
  std::size_t operator()(int folder, const char* name) {
    const Fd file(::openat(folder, name, O_RDONLY | O_CLOEXEC));
    if (!file) fail("open", name, errno);
    std::size_t bytes = 0;
    while (true) {
      const ssize_t got = ::read(file.get(), buffer_.get(), bufferSize);
      if (got < 0) fail("read", name, errno);
      bytes += static_cast<std::size_t>(got);
      if (static_cast<std::size_t>(got) < bufferSize) return bytes;
    }
  }

 private:
  static constexpr std::size_t bufferSize = 256 * 1024;  // most notes need one read, and it stays in the CPU's cache

  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(bufferSize);
};

class NoteStater {
 public:
  std::size_t operator()(int folder, const char* name) {
    struct stat status = {};
    if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) fail("look at", name, errno);
    return static_cast<std::size_t>(status.st_size);
  }
};

template <typename Visit>
void readFolder(const std::string& path, FolderQueue& queue, Visit& visit, Totals& totals) {
  DIR* folder = ::opendir(path.c_str());
  if (!folder) fail("open", path, errno);
  while (const dirent* entry = ::readdir(folder)) {
    const std::string_view name = entry->d_name;
    if (name.starts_with('.')) continue;
    if (entry->d_type == DT_UNKNOWN) fail("list types in", path, ENOTSUP);
    if (entry->d_type == DT_DIR) queue.add(fmt::format("{}/{}", path, name));
    if (entry->d_type != DT_REG || !name.ends_with(".md")) continue;
    totals.bytes += visit(::dirfd(folder), entry->d_name);
    ++totals.notes;
  }
  ::closedir(folder);
}

template <typename Visit>
Totals walk(FolderQueue& queue) {
  Totals totals;
  Visit visit;
  for (std::string folder; queue.take(folder);) readFolder(folder, queue, visit, totals);
  return totals;
}

template <typename Visit>
Totals walkWithTwoThreads(const std::string& path) {
  FolderQueue queue(path);
  Totals others;
  std::thread helper([&] { others = walk<Visit>(queue); });
  Totals totals = walk<Visit>(queue);
  helper.join();
  return {totals.notes + others.notes, totals.bytes + others.bytes};
}

// `verb` is known to be "read" or "stat".
void run(std::string_view verb, const std::string& path) {
  const auto start = std::chrono::steady_clock::now();
  const Totals totals = verb == "read" ? walkWithTwoThreads<NoteReader>(path) : walkWithTwoThreads<NoteStater>(path);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  fmt::print("{} notes, {} bytes, {:.3f} ms\n", totals.notes, totals.bytes, took.count());
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  const std::string_view verb = argc == 3 ? argv[1] : "";
  if (verb != "read" && verb != "stat") {
    fmt::print(stderr, "Usage: floor read FOLDER\n       floor stat FOLDER\n");
    return 2;
  }
  vesk::bench::run(verb, argv[2]);
  return 0;
}
