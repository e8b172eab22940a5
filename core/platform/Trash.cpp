#include "core/platform/Trash.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <limits.h>
#include <optional>
#include <string_view>
#include <unistd.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "core/platform/NoReplace.h"

namespace fs = std::filesystem;

namespace vesk::trash {

namespace {

constexpr std::string_view infoEnding = ".trashinfo";
constexpr std::size_t longestName = NAME_MAX - infoEnding.size();  // bytes; the info file's name must fit too
constexpr std::size_t longestExtension = 32;                       // bytes; a longer one is part of the name

// A folder of trashed items, with its "files" and its "info".
struct Bin {
  fs::path folder = {};
  fs::path top = {};  // the mount's top, which paths are relative to; empty in the home Trash, where they are absolute
};

bool isTaken(const fs::path& path) {
  struct stat info = {};
  return ::lstat(path.c_str(), &info) == 0;
}

// Nothing can be done about a file system that doesn't sync folders, so failures are passed over.
void syncFolder(const fs::path& folder) {
  const Fd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) ::fsync(fd.get());
}

// Makes the folder and its missing parents, for the user alone.
void makeFolders(const fs::path& folder) {
  if (isTaken(folder)) return;
  if (folder.has_relative_path()) makeFolders(folder.parent_path());
  if (::mkdir(folder.c_str(), 0700) == 0) return syncFolder(folder.parent_path());
  if (errno != EEXIST) throw FileError("make", folder.string(), errno);
}

// What a rename can't leave. Two mounts of one device differ in their id.
struct Mount {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint64_t id = 0;
  bool operator==(const Mount&) const = default;
};

std::optional<Mount> mountOf(const fs::path& path) {
  struct statx info = {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &info) != 0) return std::nullopt;
  return Mount{info.stx_dev_major, info.stx_dev_minor, info.stx_mnt_id};
}

// Also of a folder that is still to be made: the mount of the nearest one above it.
std::optional<Mount> futureMountOf(fs::path path) {
  while (path.has_relative_path() && !mountOf(path)) path = path.parent_path();
  return mountOf(path);
}

fs::path topOf(fs::path folder) {
  const auto mount = mountOf(folder);
  while (folder.has_relative_path() && mountOf(folder.parent_path()) == mount) folder = folder.parent_path();
  return folder;
}

// A ".Trash" that an administrator made for everyone: a real folder with the sticky bit, or it is not to be trusted.
bool isSharedTrash(const fs::path& folder) {
  struct stat info = {};
  return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX);
}

// Makes the folder where it is missing. 0, or an errno value when it can't be made, is a link or is someone else's.
int makeOwnFolder(const fs::path& folder) {
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return errno;
  struct stat info = {};
  if (::lstat(folder.c_str(), &info) != 0) return errno;
  if (!S_ISDIR(info.st_mode)) return ENOTDIR;
  return info.st_uid == ::getuid() ? 0 : EPERM;
}

fs::path trashAtTop(const fs::path& top) {
  const std::string user = std::to_string(::getuid());
  const fs::path shared = top / ".Trash";
  if (isSharedTrash(shared) && makeOwnFolder(shared / user) == 0) return shared / user;
  fs::path own = top / (".Trash-" + user);
  if (const int failure = makeOwnFolder(own)) throw FileError("use", own.string(), failure);
  return own;
}

Bin binFor(const fs::path& item) {
  Bin bin{.folder = fs::path(environment::dataHome()) / "Trash"};
  if (futureMountOf(bin.folder) != mountOf(item.parent_path())) {
    bin.top = topOf(item.parent_path());
    bin.folder = trashAtTop(bin.top);
  }
  makeFolders(bin.folder / "files");
  makeFolders(bin.folder / "info");
  return bin;
}

// The item's path with the links on the way to it resolved, but not the item itself.
fs::path locate(fs::path item) {
  if (!item.has_filename()) item = item.parent_path();  // "Projects/"
  std::error_code failed;
  const fs::path folder = fs::canonical(item.parent_path(), failed);
  if (failed) throw FileError("trash", item.string(), failed.value());
  struct stat info = {};
  if (::lstat(item.c_str(), &info) != 0) throw FileError("trash", item.string(), errno);
  return folder / item.filename();
}

std::string percentEncoded(std::string_view path) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string encoded;
  for (const char c : path) {
    if (plain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return encoded;
}

std::string infoText(const Bin& bin, const fs::path& item, Timestamp deletedAt) {
  const fs::path path = bin.top.empty() ? item : item.lexically_relative(bin.top);
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(deletedAt).time_since_epoch().count();
  return fmt::format("[Trash Info]\nPath={}\nDeletionDate={:%Y-%m-%dT%H:%M:%S}\n", percentEncoded(path.string()),
                     fmt::localtime(seconds));
}

// The names to try, in turn: "Plan.md", "Plan 2.md", "Plan 3.md" …, each cut to fit.
class Names {
 public:
  explicit Names(const fs::path& item) : stem_(item.filename().string()) {
    const std::size_t dot = stem_.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > 0 && stem_.size() - dot <= longestExtension;
    if (!hasExtension || fs::is_directory(fs::symlink_status(item))) return;
    extension_ = stem_.substr(dot);
    stem_.resize(dot);
  }

  std::string at(int number) const {
    const std::string suffix = number > 1 ? fmt::format(" {}{}", number, extension_) : extension_;
    const std::string_view beginning = text::firstBytes(stem_, longestName - suffix.size());
    // Not one character fits: hundreds of accents on a single letter.
    return std::string(beginning.empty() ? "Item" : beginning) + suffix;
  }

 private:
  std::string stem_;
  std::string extension_;  // with its dot
};

fs::path infoOf(const fs::path& trashed) {
  fs::path name = trashed.filename();
  name += infoEnding;
  return trashed.parent_path().parent_path() / "info" / name;
}

// False when that info file is there already, so that the name is taken.
bool createInfo(const fs::path& file, std::string_view text) {
  const Folder folder = Folder::open(file.parent_path().string());
  return folder.createFile(file.filename().string(), text, 0600);
}

// 0, or an errno value: EEXIST when something is at `to`.
int tryMove(const fs::path& from, const fs::path& to) {
  return renameNoReplace(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str()) == 0 ? 0 : errno;
}

// Moves the item under that very name; false when it is taken. The info file comes first: it reserves the name, and
// an item is never in the Trash without a word on where it was.
bool place(const fs::path& item, const fs::path& trashed, std::string_view info) {
  const fs::path infoFile = infoOf(trashed);
  if (isTaken(trashed) || !createInfo(infoFile, info)) return false;
  const int failure = tryMove(item, trashed);
  if (failure == 0) return true;
  ::unlink(infoFile.c_str());
  if (failure == EEXIST) return false;
  throw FileError("trash", item.string(), failure);
}

}  // namespace

std::string put(const std::string& path, Timestamp deletedAt) {
  const fs::path item = locate(path);
  const Bin bin = binFor(item);
  const std::string info = infoText(bin, item, deletedAt);
  const Names names(item);

  fs::path trashed;
  int number = 0;
  do {
    trashed = bin.folder / "files" / names.at(++number);
  } while (!place(item, trashed, info));

  syncFolder(trashed.parent_path());
  syncFolder(item.parent_path());
  return trashed.string();
}

bool holds(const std::string& trashedPath, const std::string& original) {
  if (!holds(trashedPath)) return false;
  std::ifstream info(infoOf(trashedPath));
  std::string line;
  while (std::getline(info, line) && !line.starts_with("Path=")) continue;
  if (!info) return false;
  const std::string path = line.substr(5);
  const std::string lay = percentEncoded(fs::weakly_canonical(original).string());
  // A drive's own Trash gives the path below the drive's top folder.
  return path.starts_with('/') ? path == lay : lay.ends_with("/" + path);
}

bool holds(const std::string& trashedPath) { return isTaken(trashedPath) && isTaken(infoOf(trashedPath)); }

void restore(const std::string& trashedPath, const std::string& destination) {
  if (!holds(trashedPath)) throw FileError("restore", trashedPath, ENOENT);
  if (const int failure = tryMove(trashedPath, destination)) throw FileError("restore", destination, failure);
  syncFolder(fs::path(destination).parent_path());
  syncFolder(fs::path(trashedPath).parent_path());
  ::unlink(infoOf(trashedPath).c_str());
}

}  // namespace vesk::trash
