#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vesk::app {

// How a command takes a text as its input.
struct InputRules {
  std::string_view invitation = {};  // shown where somebody types it; "" when nothing is
  std::size_t most = 0;              // bytes
  std::string_view tooMuch = {};     // what is said of more
};

// The whole standard input. Throws Error when it is too much, and FileError when it can't be read.
std::string standardInput(const InputRules& rules);

}  // namespace vesk::app
