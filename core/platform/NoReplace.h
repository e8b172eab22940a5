#pragma once

namespace vesk {

// rename(2) that never replaces: 0, or -1 with errno EEXIST when the destination is taken. Where the file system can't
// promise that in one step, the destination is looked at first.
int renameNoReplace(int fromFolder, const char* from, int toFolder, const char* to);

}  // namespace vesk
