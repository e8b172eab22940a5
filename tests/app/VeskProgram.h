#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/RunProgram.h"

namespace vesk::test {

inline std::vector<std::string> veskCommand(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), VESK_BIN_DIR "/vesk");
  return arguments;
}

// Runs `vesk` with these arguments.
inline ProgramResult vesk(std::vector<std::string> arguments, const RunOptions& options = {}) {
  return runProgram(veskCommand(std::move(arguments)), options);
}

}  // namespace vesk::test
