#include "core/platform/FolderWatcher.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <poll.h>
#include <set>
#include <unistd.h>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace fs = std::filesystem;

namespace vesk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds missingRootPause{1};
constexpr std::chrono::seconds watchLimitPause{30};

// IN_ATTRIB for dates that are set (touch, a sync program) and rights that are given or taken.
constexpr std::uint32_t changeEvents =
    IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t rootEvents = IN_DELETE_SELF | IN_MOVE_SELF;

// What has happened since the last batch.
struct Changes {
  std::set<std::string> paths = {};  // relative to the root
  bool anything = false;             // more than can be listed
};

// A folder with an inotify watch on each folder in it, and what their events mean for paths.
//
// Folders that move are not tracked by their watches: a folder that goes takes its watches away, and one that comes is
// walked anew with all that is in it counted as changed. Whatever order things really happened in, the last event about
// a path comes after the state that the walk will find.
class WatchedTree {
 public:
  WatchedTree(std::string root, FolderWatcher::Ignores ignores)
      : root_(std::move(root)), ignores_(std::move(ignores)) {}

  int descriptor() const { return inotify_.get(); }

  // Watches everything anew. FileError (ENOSPC) when the system's limit is reached: part of the tree is watched then.
  // Any other FileError is about the root.
  void start();

  // Takes in what has happened. FileError when it can't be told any more: EOVERFLOW when events were lost, ENOENT when
  // the root has gone; ENOSPC as above.
  void read(Changes& changes);

 private:
  void handle(const inotify_event& event, Changes& changes);
  void handleFolderItself(const inotify_event& event);
  void follow(const std::string& folder, Changes* changes);
  bool watch(const std::string& folder);
  void forget(const std::string& folder);
  std::string absolute(const std::string& path) const { return path.empty() ? root_ : root_ + "/" + path; }

  std::string root_;
  FolderWatcher::Ignores ignores_;
  Fd inotify_;
  std::unordered_map<int, std::string> folders_;  // by watch; "" is the root
};

void WatchedTree::start() {
  folders_.clear();
  inotify_.reset();  // first, as a user may have few of them
  inotify_ = Fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!inotify_) throw FileError("watch", root_, errno);
  follow("", nullptr);
}

void WatchedTree::read(Changes& changes) {
  alignas(inotify_event) std::array<char, 65'536> buffer;
  const ssize_t size = ::read(inotify_.get(), buffer.data(), buffer.size());
  for (ssize_t offset = 0; offset < size;) {
    const auto& event = *reinterpret_cast<const inotify_event*>(buffer.data() + offset);
    offset += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
    handle(event, changes);
  }
}

void WatchedTree::handle(const inotify_event& event, Changes& changes) {
  if (event.mask & IN_Q_OVERFLOW) throw FileError("follow the changes in", root_, EOVERFLOW);
  const auto folder = folders_.find(event.wd);
  if (folder == folders_.end()) return;  // it has left the tree since
  if (event.len == 0) return handleFolderItself(event);

  const std::string_view name = event.name;  // padded with zeros
  if (ignores_(name)) return;
  const std::string path = joinPath(folder->second, name);
  changes.paths.insert(path);
  if (!(event.mask & IN_ISDIR)) return;
  if (event.mask & IN_MOVED_FROM) forget(path);
  if (event.mask & (IN_CREATE | IN_MOVED_TO)) follow(path, &changes);
}

void WatchedTree::handleFolderItself(const inotify_event& event) {
  const auto folder = folders_.find(event.wd);
  const bool isRoot = folder->second.empty();
  if (isRoot && event.mask & (rootEvents | IN_UNMOUNT | IN_IGNORED)) throw FileError("watch", root_, ENOENT);
  if (event.mask & IN_IGNORED) folders_.erase(folder);  // the system has dropped the watch, as the folder is deleted
}

// Watches the folder and all folders below it. What is found in them counts as changed, where `changes` is given: it
// may have come before the watch.
void WatchedTree::follow(const std::string& folder, Changes* changes) {
  std::vector<std::string> waiting{folder};
  while (!waiting.empty()) {
    const std::string current = std::move(waiting.back());
    waiting.pop_back();
    if (!watch(current)) continue;
    std::error_code failed;
    for (fs::directory_iterator entry(absolute(current), failed), end; !failed && entry != end;
         entry.increment(failed)) {
      const std::string name = entry->path().filename().string();
      if (ignores_(name)) continue;
      std::string path = joinPath(current, name);
      if (changes) changes->paths.insert(path);
      std::error_code unknown;
      if (fs::is_directory(entry->symlink_status(unknown))) waiting.push_back(std::move(path));
    }
  }
}

// False when the folder has gone again, or is closed to the user.
bool WatchedTree::watch(const std::string& folder) {
  const bool isRoot = folder.empty();
  const std::uint32_t options = IN_ONLYDIR | IN_EXCL_UNLINK | (isRoot ? rootEvents : IN_DONT_FOLLOW);
  const int watch = ::inotify_add_watch(inotify_.get(), absolute(folder).c_str(), changeEvents | options);
  if (watch < 0 && (isRoot || errno == ENOSPC)) throw FileError("watch", absolute(folder), errno);
  if (watch < 0) return false;
  folders_[watch] = folder;  // a watch that was there already is the same folder under its newer path
  return true;
}

void WatchedTree::forget(const std::string& folder) {
  std::erase_if(folders_, [&](const auto& watched) {
    const auto& [watch, path] = watched;
    const bool isInside = path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
    if (isInside) ::inotify_rm_watch(inotify_.get(), watch);
    return isInside;
  });
}

bool isWatchLimit(const FileError& error) { return error.code() == ENOSPC; }

// Where a failure to start comes from a limit of the system, says which one to raise.
[[noreturn]] void throwStartFailure(const FileError& error, const std::string& root) {
  const char* limit = isWatchLimit(error)      ? "fs.inotify.max_user_watches"
                      : error.code() == EMFILE ? "fs.inotify.max_user_instances"
                                               : nullptr;
  if (!limit) throw error;
  throw Error(fmt::format("Can't watch {}: the system's limit {} is reached. Raise it with sysctl.", root, limit));
}

}  // namespace

// What the watcher and its thread share.
class FolderWatcher::Session {
 public:
  Session(const std::string& root, std::chrono::milliseconds latency, OnBatch onBatch, Ignores ignores)
      : tree_(root, std::move(ignores)),
        latency_(latency),
        onBatch_(std::move(onBatch)),
        stop_(::eventfd(0, EFD_CLOEXEC)) {
    if (!stop_) throw FileError("watch", root, errno);
    try {
      tree_.start();
    } catch (const FileError& error) {
      throwStartFailure(error, root);
    }
  }

  void run() {
    while (waitForEvents()) {
      if (isDue(restartAt_)) {
        restart();
      } else {
        readEvents();
      }
      const bool hasChanges = changes_.anything || !changes_.paths.empty();
      if (hasChanges && !deliverAt_) deliverAt_ = Clock::now() + latency_;
      if (isDue(deliverAt_)) deliver();
    }
  }

  void stop() { ::eventfd_write(stop_.get(), 1); }

 private:
  using Moment = std::optional<Clock::time_point>;

  static bool isDue(const Moment& moment) { return moment && *moment <= Clock::now(); }
  int millisecondsToNext() const;
  bool waitForEvents() const;
  void readEvents();
  void restart();
  void deliver();

  WatchedTree tree_;
  std::chrono::milliseconds latency_;
  OnBatch onBatch_;
  Fd stop_;
  Changes changes_;
  Moment deliverAt_;
  Moment restartAt_;
};

// As poll() wants it: -1 for no end.
int FolderWatcher::Session::millisecondsToNext() const {
  if (!deliverAt_ && !restartAt_) return -1;
  const auto next =
      std::min(deliverAt_.value_or(Clock::time_point::max()), restartAt_.value_or(Clock::time_point::max()));
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

// Until there are events or something is due. False when the watcher is to stop.
bool FolderWatcher::Session::waitForEvents() const {
  std::array<pollfd, 2> polled{{{stop_.get(), POLLIN, 0}, {tree_.descriptor(), POLLIN, 0}}};
  ::poll(polled.data(), polled.size(), millisecondsToNext());
  return polled[0].revents == 0;
}

void FolderWatcher::Session::readEvents() {
  try {
    tree_.read(changes_);
  } catch (const FileError& lost) {
    changes_.anything = true;
    restartAt_ = Clock::now() + (isWatchLimit(lost) ? watchLimitPause : std::chrono::seconds(0));
  }
}

void FolderWatcher::Session::restart() {
  try {
    tree_.start();
    restartAt_.reset();
    changes_.anything = true;
  } catch (const FileError& failure) {
    const bool isPartial = isWatchLimit(failure);
    restartAt_ = Clock::now() + (isPartial ? watchLimitPause : missingRootPause);
    changes_.anything = changes_.anything || isPartial;
  }
}

void FolderWatcher::Session::deliver() {
  std::vector<std::string> paths;
  if (!changes_.anything) paths.assign(changes_.paths.begin(), changes_.paths.end());
  changes_ = {};
  deliverAt_.reset();
  try {
    onBatch_(paths);
  } catch (...) {  // nobody is there to be told
  }
}

FolderWatcher::FolderWatcher(const std::string& root, std::chrono::milliseconds latency, OnBatch onBatch,
                             Ignores ignores)
    : session_(std::make_shared<Session>(root, latency, std::move(onBatch), std::move(ignores))),
      thread_([session = session_] { session->run(); }) {}

FolderWatcher::~FolderWatcher() {
  session_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

}  // namespace vesk
