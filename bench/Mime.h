#pragma once

#include <span>
#include <string>

namespace vesk::bench {

// mime FOLDER: takes every message of a folder apart. Prints the most memory that took, too. False when the arguments
// are not as said.
bool mime(std::span<const std::string> arguments);

}  // namespace vesk::bench
