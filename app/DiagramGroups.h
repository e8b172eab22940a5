#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "core/diagrams/Diagram.h"

namespace vesk::app {

// For each node the group it lies in, both by their indices: the smallest group whose frame holds the node's centre. A
// group lies in a larger one in the same way; of two of the same size the later one lies in the earlier.
std::vector<std::optional<std::size_t>> enclosingGroups(const Diagram& diagram);

}  // namespace vesk::app
