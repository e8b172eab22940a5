#include "core/platform/LineFile.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"

namespace vesk::lineFile {

namespace {

Fd openToAppend(const std::string& path) {
  // Not blocking, in case a pipe has taken the file's place.
  Fd file(::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
  if (!file) throw FileError("write to", path, errno);
  if (fileInfo(file.get()).kind != FileKind::file) throw FileError("write to", path, EINVAL);
  return file;
}

// False when a process that was killed, or a full disk, left the last line unfinished.
bool endsInLineBreak(int file) {
  const std::uint64_t size = fileInfo(file).size;
  char last = '\n';
  return size == 0 || ::pread(file, &last, 1, static_cast<off_t>(size - 1)) != 1 || last == '\n';
}

// With the folder's entry of a file that is new.
void sync(const std::string& path, int file, bool isNew) {
  if (::fdatasync(file) != 0) throw FileError("write to", path, errno);
  if (!isNew) return;
  const Fd folder(::open(std::string(parentPath(path)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::fsync(folder.get()) != 0) throw FileError("write to", path, errno);
}

}  // namespace

void append(const std::string& path, std::string_view line, Durability durability) {
  const Fd file = openToAppend(path);
  const FileLock held = FileLock::onFile(path);
  const std::uint64_t size = fileInfo(file.get()).size;
  std::string whole(endsInLineBreak(file.get()) ? "" : "\n");
  whole.append(line).append("\n");
  ssize_t written = 0;
  do written = ::write(file.get(), whole.data(), whole.size());
  while (written < 0 && errno == EINTR);
  const int failure = written < 0 ? errno : static_cast<std::size_t>(written) < whole.size() ? ENOSPC : 0;
  if (failure != 0) {
    // The part that was written holds space that taking the change back may need.
    [[maybe_unused]] const int ignored = ::ftruncate(file.get(), static_cast<off_t>(size));
    throw FileError("write to", path, failure);
  }
  if (durability == Durability::disk) sync(path, file.get(), size == 0);
}

void requireWritable(const std::string& path) { openToAppend(path); }

}  // namespace vesk::lineFile
