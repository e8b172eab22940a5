#pragma once

#include "core/vault/Vault.h"

namespace vesk {

// Whether `later` changes the same lines as `earlier`, and in the same place, when `between` was done to the text in
// the meantime: `between` leads from earlier.before to later.before. False where that can't be told.
bool isSameChange(const TextChange& earlier, const TextChange& later, const TextChange& between);

// Whether two changes to the texts of diagrams do the same to the same things. Where what is new is placed is no
// matter: it makes room for what came in the meantime.
bool isSameDiagramChange(const TextChange& earlier, const TextChange& later);

}  // namespace vesk
