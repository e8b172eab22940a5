#pragma once

#include "core/platform/FileLock.h"

namespace vesk::app {

// Held while mail is brought in step: two programs that do it at once would be in each other's way. Throws Error when
// another one does.
FileLock lockMailSync();

}  // namespace vesk::app
