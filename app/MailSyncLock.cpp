#include "app/MailSyncLock.h"

#include <cerrno>
#include <chrono>

#include "core/base/Error.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::app {

FileLock lockMailSync() {
  try {
    return FileLock::onFile(joinPath(environment::supportDirectory(), "mail/sync.lock"), std::chrono::seconds(0));
  } catch (const FileError& error) {
    if (error.code() != EWOULDBLOCK) throw;
    throw Error("Another vesk is syncing mail. Wait until it is done, or end it with Ctrl-C.");
  }
}

}  // namespace vesk::app
