#pragma once

#include <cstddef>
#include <string>

#include "bench/generator/VaultPlan.h"

namespace vesk::bench {

// The whole text of the file. Half of the notes are under 4 KB, one in ten is over 15 KB, and a few are far larger. The
// word "quixotic" stands in one note of 1,000 and "harbour" in two of five, in prose only; no other text holds them.
std::string noteText(const VaultPlan& plan, std::size_t index);

}  // namespace vesk::bench
