#include "core/platform/LineFile.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
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

}  // namespace

void append(const std::string& path, std::string_view line, Durability durability) {
  const Fd file = openToAppend(path);
  std::string whole(endsInLineBreak(file.get()) ? "" : "\n");
  whole.append(line).append("\n");
  ssize_t written = 0;
  do written = ::write(file.get(), whole.data(), whole.size());
  while (written < 0 && errno == EINTR);
  if (written < 0) throw FileError("write to", path, errno);
  if (static_cast<std::size_t>(written) < whole.size()) throw FileError("write to", path, ENOSPC);
  if (durability == Durability::disk && ::fdatasync(file.get()) != 0) throw FileError("write to", path, errno);
}

void requireWritable(const std::string& path) { openToAppend(path); }

}  // namespace vesk::lineFile
