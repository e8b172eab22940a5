#include "core/platform/AtomicFile.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <stdio.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "core/platform/CreationDate.h"
#include "core/platform/NoReplace.h"

namespace vesk::atomicFile {

namespace {

constexpr std::string_view temporaryPrefix = ".vesk-";
constexpr std::string_view temporarySuffix = ".tmp";

[[noreturn]] void fail() { throw std::system_error(errno, std::generic_category()); }

std::string temporaryName() {
  std::uint64_t random = 0;
  if (::getrandom(&random, sizeof random, 0) != sizeof random) fail();
  return fmt::format("{}{:016x}{}", temporaryPrefix, random, temporarySuffix);
}

// A file being written, invisible until it is published. Where the file system has no unnamed files it carries a
// temporary name from the start.
class Draft {
 public:
  Draft(int folder, std::uint32_t mode) : folder_(folder) {
    fd_ = Fd(::openat(folder_, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
    if (fd_) return;
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT && errno != EINVAL) fail();
    name_ = temporaryName();
    fd_ = Fd(::openat(folder_, name_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, mode));
    if (!fd_) {
      name_.clear();
      fail();
    }
  }
  ~Draft() {
    if (!name_.empty()) ::unlinkat(folder_, name_.c_str(), 0);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  int descriptor() const { return fd_.get(); }

  void write(std::string_view content) const {
    while (!content.empty()) {
      const ssize_t written = ::write(fd_.get(), content.data(), content.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) fail();
      content.remove_prefix(static_cast<std::size_t>(written));
    }
    if (::fsync(fd_.get()) != 0) fail();
  }

  // Gives the file its name; false when that is taken.
  bool publish(const std::string& name) {
    const int result = name_.empty() ? link(name) : renameNoReplace(folder_, name_.c_str(), folder_, name.c_str());
    if (result != 0 && errno == EEXIST) return false;
    if (result != 0) fail();
    name_.clear();
    syncFolder();
    return true;
  }

  // Gives the file its name in place of what had it.
  void publishOver(const std::string& name) {
    if (name_.empty()) {
      std::string temporary = temporaryName();
      if (link(temporary) != 0) fail();
      name_ = std::move(temporary);
    }
    if (::renameat(folder_, name_.c_str(), folder_, name.c_str()) != 0) fail();
    name_.clear();
    syncFolder();
  }

 private:
  int link(const std::string& name) const {
    const std::string self = fmt::format("/proc/self/fd/{}", fd_.get());
    return ::linkat(AT_FDCWD, self.c_str(), folder_, name.c_str(), AT_SYMLINK_FOLLOW);
  }
  void syncFolder() const {
    if (::fsync(folder_) != 0 && errno != EINVAL) fail();
  }

  int folder_;
  Fd fd_;
  std::string name_;  // empty while the file has none
};

// What hangs on a file beside its text. Best effort: a file system that refuses one of these still gets the text.
void copyAttributes(int from, int to) {
  const ssize_t size = ::flistxattr(from, nullptr, 0);
  if (size <= 0) return;
  std::vector<char> names(static_cast<std::size_t>(size));
  const ssize_t listed = ::flistxattr(from, names.data(), names.size());
  for (ssize_t at = 0; at < listed;) {
    const std::string name(names.data() + at);
    at += static_cast<ssize_t>(name.size()) + 1;
    const ssize_t length = ::fgetxattr(from, name.c_str(), nullptr, 0);
    if (length < 0) continue;
    std::vector<char> value(static_cast<std::size_t>(length));
    if (::fgetxattr(from, name.c_str(), value.data(), value.size()) == length)
      ::fsetxattr(to, name.c_str(), value.data(), value.size(), 0);
  }
}

void takeOver(int old, const Draft& draft) {
  struct stat attributes = {};
  if (::fstat(old, &attributes) != 0) fail();
  [[maybe_unused]] const int ownerIsBestEffort = ::fchown(draft.descriptor(), attributes.st_uid, attributes.st_gid);
  if (::fchmod(draft.descriptor(), attributes.st_mode & 07777) != 0) fail();
  copyAttributes(old, draft.descriptor());
  carryCreationDate(old, draft.descriptor());
}

}  // namespace

bool isTemporaryName(std::string_view name) {
  return name.starts_with(temporaryPrefix) && name.ends_with(temporarySuffix);
}

void replace(int folder, const std::string& name, std::string_view content) {
  // Opened for writing, so that a file the user made read-only is refused rather than replaced.
  const Fd old(::openat(folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!old && errno != ENOENT) fail();
  Draft draft(folder, 0666);
  if (old) takeOver(old.get(), draft);
  draft.write(content);
  draft.publishOver(name);
}

bool create(int folder, const std::string& name, std::string_view content, std::uint32_t mode) {
  struct stat taken = {};
  if (::fstatat(folder, name.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0) return false;  // spares writing a draft
  Draft draft(folder, mode);
  draft.write(content);
  return draft.publish(name);
}

}  // namespace vesk::atomicFile
