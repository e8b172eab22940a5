#pragma once

#include <cstdint>
#include <dirent.h>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <time.h>
#include <vector>

#include "core/base/Time.h"
#include "core/platform/Fd.h"

namespace vesk {

enum class FileKind { file, folder, link, other };

// What the file system says of an item, links not followed.
struct FileInfo {
  FileKind kind = FileKind::other;
  std::uint64_t size = 0;  // bytes
  std::uint32_t mode = 0;  // permission bits
  Timestamp modified = distantPast;
  Timestamp created = distantPast;  // the birth time, or what carryCreationDate kept of it; distantPast when unknown
};

struct FolderEntry {
  std::string name = {};
  FileKind kind = FileKind::other;
};

// An open folder. The paths given to it are relative to it, with "/" between their components, and nothing it does
// leads outside, through ".." or through a symbolic link: such a path throws OutsideFolderError. An empty path is
// the folder itself. Other failures are FileErrors that name the path as it was given.
class Folder {
 public:
  // Opens the folder at an absolute path; a link to a folder is followed.
  static Folder open(const std::string& path);

  Folder openFolder(std::string_view path) const;

  // Every entry but "." and "..", in no order. Entries whose names are not UTF-8 are left out.
  std::vector<FolderEntry> entries() const;

  // False when anything but a file of that name is in the folder, whatever its own name is made of.
  bool isEmptyBut(std::string_view name) const;

  // Nullopt when nothing is there.
  std::optional<FileInfo> info(std::string_view path) const;
  bool exists(std::string_view path) const { return info(path).has_value(); }

  // Opens a regular file to read it; a relative link is followed as long as it stays inside. Pipes, sockets and devices
  // are never opened (EINVAL).
  Fd openFile(std::string_view path) const;

  // The whole file.
  std::string read(std::string_view path) const;

  // The path with its links resolved, relative to this folder.
  std::string resolveLinks(std::string_view path) const;

  // Writes the file anew, in one step that either happens wholly or not at all, and survives a power cut. What was
  // there keeps its mode, extended attributes and creation date; a link stays, and its target is written.
  void replaceFile(std::string_view path, std::string_view content) const;

  // Makes the file whole; false, and nothing done, when something has that name.
  bool createFile(std::string_view path, std::string_view content, std::uint32_t mode = 0666) const;

  // Makes the folder and its missing parents.
  void createFolders(std::string_view path) const;

  // Moves an item to a place that is free; EEXIST when it isn't.
  void move(std::string_view from, std::string_view to) const;

  // Removes a folder that is empty; false when it is not.
  bool removeEmptyFolder(std::string_view path) const;

  // Removes a file that Vesk itself made and nobody keeps: a temporary one, or the system's own ".DS_Store".
  void removeFile(std::string_view path) const;

  int descriptor() const { return fd_.get(); }

 private:
  Folder(Fd fd, std::string name) : fd_(std::move(fd)), name_(std::move(name)) {}

  void forEachEntry(const std::function<void(const dirent& entry, int folder)>& visit) const;
  Fd openBeneath(std::string_view action, std::string_view path, int flags) const;
  Fd openParent(std::string_view action, std::string_view path) const;

  Fd fd_;
  std::string name_;  // for the sentence of a failure about the folder itself
};

// A time as the system gives it; distantPast when it is beyond what a Timestamp holds.
Timestamp timestampOf(const timespec& time);

// The attributes of an open file. Asking for the creation date takes as long as all the others; without it, that is
// distantPast.
FileInfo fileInfo(int descriptor, bool withCreationDate = true);

// The path without its last component ("" when it has one only), and its last component.
inline std::string_view parentPath(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}
inline std::string_view lastComponent(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}
// "folder/name", or the name alone when the folder is "".
std::string joinPath(std::string_view folder, std::string_view name);

// Makes a folder, and what is missing above it, unless it is there. It is for its user alone (mode 0700).
void makePrivateFolder(const std::string& path);

}  // namespace vesk
