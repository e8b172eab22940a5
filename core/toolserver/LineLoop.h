#pragma once

#include <cstddef>

#include "core/toolserver/MCPServer.h"

namespace vesk {

// A longer line is no message that any client sends; it is answered with a parse error and skipped.
inline constexpr std::size_t maximumLine = std::size_t{64} << 20;  // bytes

// Reads lines from `input` until it ends and writes each answer, with a "\n", to `output` at once. The last line may
// lack its "\n". Returns when the input ends or nobody reads the answers any more; throws FileError when either fails
// otherwise.
void serveLines(const MCPServer& server, int input, int output);

}  // namespace vesk
