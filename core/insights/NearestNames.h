#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/vault/VaultSnapshot.h"

namespace vesk {

// For names that no note has, the name of a note that may have been meant: one of the same letters and digits, else one
// that is the same when at most one character is left out of each (so that one is missing, too many, another, or in the
// wrong place). Regardless of case; names of under four letters and digits have no such neighbours.
//
// Of several notes the first one counts. The names are each given once; only the first `most` are looked at. Takes time
// linear in the length of all names.
std::unordered_map<std::string_view, std::string> nearestNames(const std::vector<std::string_view>& names,
                                                               const VaultSnapshot& snapshot, std::size_t most = 5000);

}  // namespace vesk
