#pragma once

#include <cstddef>
#include <string>

namespace vesk::bench {

// A diagram's file as other programs write it, with a connection for each node but the first; some 250 bytes for both.
// The same number gives the same bytes.
std::string canvasText(std::size_t nodes);

enum class Links { forward, anywhere };  // to later nodes, or in circles, too

// A change set that adds so many nodes, which have no places yet, and twice as many connections between them.
std::string changeSetText(std::size_t nodes, Links links);

}  // namespace vesk::bench
