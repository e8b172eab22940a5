#include "core/platform/NoReplace.h"

#include <cerrno>
#include <fcntl.h>
#include <stdio.h>

#include <sys/stat.h>

namespace vesk {

int renameNoReplace(int fromFolder, const char* from, int toFolder, const char* to) {
  if (::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  struct stat taken = {};
  if (::fstatat(toFolder, to, &taken, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::renameat(fromFolder, from, toFolder, to);
}

}  // namespace vesk
