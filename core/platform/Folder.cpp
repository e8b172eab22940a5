#include "core/platform/Folder.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <limits.h>
#include <memory>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "core/base/Text.h"
#include "core/platform/AtomicFile.h"
#include "core/platform/CreationDate.h"
#include "core/platform/FileError.h"
#include "core/platform/NoReplace.h"

namespace vesk {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

FileKind kindOf(std::uint32_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG: return FileKind::file;
    case S_IFDIR: return FileKind::folder;
    case S_IFLNK: return FileKind::link;
    default: return FileKind::other;
  }
}

FileKind kindOfEntry(int folder, const dirent& entry) {
  switch (entry.d_type) {
    case DT_REG: return FileKind::file;
    case DT_DIR: return FileKind::folder;
    case DT_LNK: return FileKind::link;
    case DT_UNKNOWN: break;  // a file system that keeps no types in its folders
    default: return FileKind::other;
  }
  struct stat attributes = {};
  if (::fstatat(folder, entry.d_name, &attributes, AT_SYMLINK_NOFOLLOW) != 0) return FileKind::other;
  return kindOf(attributes.st_mode);
}

FileInfo infoFrom(const struct statx& attributes) {
  FileInfo info;
  info.kind = kindOf(attributes.stx_mode);
  info.size = attributes.stx_size;
  info.mode = attributes.stx_mode & 07777u;
  info.modified = timestampOf({attributes.stx_mtime.tv_sec, attributes.stx_mtime.tv_nsec});
  if (attributes.stx_mask & STATX_BTIME)
    info.created = timestampOf({attributes.stx_btime.tv_sec, attributes.stx_btime.tv_nsec});
  return info;
}

// Without a creation date.
FileInfo plainInfo(int descriptor) {
  struct stat attributes = {};
  if (::fstat(descriptor, &attributes) != 0) return {};
  FileInfo info;
  info.kind = kindOf(attributes.st_mode);
  info.size = static_cast<std::uint64_t>(attributes.st_size);
  info.mode = attributes.st_mode & 07777u;
  info.modified = timestampOf(attributes.st_mtim);
  return info;
}

constexpr unsigned wantedAttributes = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_MTIME | STATX_BTIME;

std::string pathOfDescriptor(int descriptor) {
  char target[PATH_MAX];
  const std::string self = fmt::format("/proc/self/fd/{}", descriptor);
  const ssize_t size = ::readlink(self.c_str(), target, sizeof target);
  return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : std::string();
}

bool isBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// For kernels before 5.6: opens, and then looks where that led.
int openAndCheck(int folder, const char* path, int flags) {
  Fd opened(::openat(folder, path, flags));
  if (!opened) return -1;
  const std::string where = pathOfDescriptor(opened.get());
  if (!where.empty() && isBelow(where, pathOfDescriptor(folder))) return opened.release();
  errno = EXDEV;
  return -1;
}

int openBeneathOf(int folder, const char* path, int flags) {
  open_how how = {};
  how.flags = static_cast<std::uint64_t>(flags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  for (int attempt = 0;; ++attempt) {
    const long opened = ::syscall(SYS_openat2, folder, path, &how, sizeof how);
    if (opened >= 0) return static_cast<int>(opened);
    // EAGAIN: something was renamed while the kernel followed ".."; it asks to be called again.
    if (errno == EAGAIN && attempt < 100) continue;
    // EPERM: a sandbox older than the call.
    if (errno == ENOSYS || errno == EPERM) return openAndCheck(folder, path, flags);
    return -1;
  }
}

// Runs a step of atomicFile, whose failures carry no path.
template <typename Step>
auto named(std::string_view action, std::string_view path, Step step) {
  try {
    return step();
  } catch (const std::system_error& error) {
    throw FileError(action, path, error.code().value());
  }
}

}  // namespace

Timestamp timestampOf(const timespec& time) {
  constexpr std::int64_t billion = 1'000'000'000;
  constexpr std::int64_t representable = INT64_MAX / billion - 1;
  if (time.tv_sec < -representable || time.tv_sec > representable) return distantPast;
  return Timestamp(std::chrono::nanoseconds(time.tv_sec * billion + time.tv_nsec));
}

FileInfo fileInfo(int descriptor, bool withCreationDate) {
  if (!withCreationDate) return plainInfo(descriptor);
  struct statx attributes = {};
  if (::statx(descriptor, "", AT_EMPTY_PATH, wantedAttributes, &attributes) != 0) return {};
  FileInfo info = infoFrom(attributes);
  info.created = creationDate(descriptor, info.created);
  return info;
}

std::string joinPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  if (!folder.empty()) path.append(folder).append("/");
  return path.append(name);
}

void makePrivateFolder(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code failure;
  fs::path whole = fs::absolute(path, failure).lexically_normal();
  if (!whole.has_filename()) whole = whole.parent_path();  // it was given with a "/" at its end
  if (!failure) fs::create_directories(whole.parent_path(), failure);
  if (!failure && ::mkdir(whole.c_str(), 0700) != 0 && errno != EEXIST) failure = {errno, std::generic_category()};
  if (failure) throw FileError("create the folder", path, failure.value());
}

Folder Folder::open(const std::string& path) {
  Fd fd(::open(path.c_str(), folderFlags));
  if (!fd) throw FileError("open", path, errno);
  return {std::move(fd), path};
}

Fd Folder::openBeneath(std::string_view action, std::string_view path, int flags) const {
  const std::string target = path.empty() ? "." : std::string(path);
  Fd fd(openBeneathOf(fd_.get(), target.c_str(), flags | O_CLOEXEC));
  if (fd) return fd;
  if (errno == EXDEV) throw OutsideFolderError(action, path, EXDEV);
  throw FileError(action, path.empty() ? std::string_view(name_) : path, errno);
}

Fd Folder::openParent(std::string_view action, std::string_view path) const {
  return openBeneath(action, parentPath(path), folderFlags);
}

Folder Folder::openFolder(std::string_view path) const {
  return {openBeneath("open", path, folderFlags), path.empty() ? name_ : std::string(path)};
}

void Folder::forEachEntry(const std::function<void(const dirent&, int)>& visit) const {
  // A descriptor of its own: reading a folder moves the descriptor's place in it.
  const int own = ::openat(fd_.get(), ".", folderFlags);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(own < 0 ? nullptr : ::fdopendir(own), ::closedir);
  if (!stream) {
    const int code = errno;
    if (own >= 0) ::close(own);
    throw FileError("list", name_, code);
  }
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (!entry && errno != 0) throw FileError("list", name_, errno);
    if (!entry) return;
    const std::string_view name(entry->d_name);
    if (name != "." && name != "..") visit(*entry, own);
  }
}

std::vector<FolderEntry> Folder::entries() const {
  std::vector<FolderEntry> found;
  forEachEntry([&](const dirent& entry, int folder) {
    if (text::isValidUtf8(entry.d_name)) found.push_back({entry.d_name, kindOfEntry(folder, entry)});
  });
  return found;
}

bool Folder::isEmptyBut(std::string_view name) const {
  bool isEmpty = true;
  forEachEntry([&](const dirent& entry, int) { isEmpty = isEmpty && entry.d_name == name; });
  return isEmpty;
}

std::optional<FileInfo> Folder::info(std::string_view path) const {
  Fd fd;
  try {
    fd = openBeneath("look at", path, O_PATH | O_NOFOLLOW);
  } catch (const FileError& error) {
    if (error.isMissing()) return std::nullopt;
    throw;
  }
  struct statx attributes = {};
  if (::statx(fd.get(), "", AT_EMPTY_PATH, wantedAttributes, &attributes) != 0) throw FileError("look at", path, errno);
  FileInfo info = infoFrom(attributes);
  if (info.kind != FileKind::file) return info;
  // An O_PATH descriptor carries no extended attributes; its name below /proc does.
  const Fd readable(::open(fmt::format("/proc/self/fd/{}", fd.get()).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (readable) info.created = creationDate(readable.get(), info.created);
  return info;
}

Fd Folder::openFile(std::string_view path) const {
  const Fd seen = openBeneath("read", path, O_PATH);
  struct stat attributes = {};
  if (::fstat(seen.get(), &attributes) != 0) throw FileError("read", path, errno);
  if (S_ISDIR(attributes.st_mode)) throw FileError("read", path, EISDIR);
  if (!S_ISREG(attributes.st_mode)) throw FileError("read", path, EINVAL);
  // Not blocking, in case a pipe has taken the file's place since.
  return openBeneath("read", path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
}

std::string Folder::read(std::string_view path) const {
  const Fd fd = openFile(path);
  struct stat attributes = {};
  if (::fstat(fd.get(), &attributes) != 0) throw FileError("read", path, errno);
  std::string text(static_cast<std::size_t>(attributes.st_size) + 1, '\0');  // one more byte, to see the end
  std::size_t filled = 0;
  for (;;) {
    if (filled == text.size()) text.resize(text.size() + 4096);  // it has grown
    const ssize_t got = ::read(fd.get(), text.data() + filled, text.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw FileError("read", path, errno);
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  text.resize(filled);
  return text;
}

std::string Folder::resolveLinks(std::string_view path) const {
  const Fd fd = openBeneath("open", path, O_PATH);
  const std::string folder = pathOfDescriptor(fd_.get());
  const std::string real = pathOfDescriptor(fd.get());
  if (!isBelow(real, folder) || real.size() <= folder.size()) throw OutsideFolderError("open", path, EXDEV);
  return real.substr(folder == "/" ? 1 : folder.size() + 1);
}

void Folder::replaceFile(std::string_view path, std::string_view content) const {
  const auto present = info(path);
  const std::string target = present && present->kind == FileKind::link ? resolveLinks(path) : std::string(path);
  const Fd parent = openParent("write", target);
  named("write", path, [&] { atomicFile::replace(parent.get(), std::string(lastComponent(target)), content); });
}

bool Folder::createFile(std::string_view path, std::string_view content, std::uint32_t mode) const {
  const Fd parent = openParent("create", path);
  return named("create", path,
               [&] { return atomicFile::create(parent.get(), std::string(lastComponent(path)), content, mode); });
}

void Folder::createFolders(std::string_view path) const {
  for (std::size_t end = 0; end != std::string_view::npos && !path.empty();) {
    end = path.find('/', end + 1);
    const std::string_view step = path.substr(0, end);
    const Fd parent = openParent("create the folder", step);
    const std::string name(lastComponent(step));
    if (::mkdirat(parent.get(), name.c_str(), 0777) == 0) continue;
    if (errno != EEXIST) throw FileError("create the folder", step, errno);
    openBeneath("create the folder", step, O_PATH | O_DIRECTORY);  // what is there must be a folder
  }
}

void Folder::move(std::string_view from, std::string_view to) const {
  const Fd source = openParent("move", from);
  const Fd destination = openParent("move", to);
  const std::string name(lastComponent(from));
  const std::string newName(lastComponent(to));
  if (renameNoReplace(source.get(), name.c_str(), destination.get(), newName.c_str()) != 0)
    throw FileError("move", errno == EEXIST ? to : from, errno);
  ::fsync(destination.get());
  ::fsync(source.get());
}

bool Folder::removeEmptyFolder(std::string_view path) const {
  const Fd parent = openParent("remove", path);
  if (::unlinkat(parent.get(), std::string(lastComponent(path)).c_str(), AT_REMOVEDIR) == 0) return true;
  if (errno == ENOTEMPTY || errno == EEXIST) return false;
  throw FileError("remove", path, errno);
}

void Folder::removeFile(std::string_view path) const {
  const Fd parent = openParent("remove", path);
  if (::unlinkat(parent.get(), std::string(lastComponent(path)).c_str(), 0) != 0)
    throw FileError("remove", path, errno);
}

}  // namespace vesk
