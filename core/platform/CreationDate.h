#pragma once

#include "core/base/Time.h"

namespace vesk {

// A file that is written anew has a new birth time. The date it was first made is kept beside it, in the extended
// attribute "user.vesk.created" (seconds and nanoseconds since 1970, "1763720369.250000000"), where the file system
// has those.

// The kept date of the open file, else its birth time, else distantPast.
Timestamp creationDate(int descriptor, Timestamp birth);

// Gives `to` the creation date of `from`. Best effort.
void carryCreationDate(int from, int to);

}  // namespace vesk
