#pragma once

#include <string>

namespace vesk::app {

// The absolute path of `vesk-mcp`, which lies beside this program.
std::string toolServerPath();

// The command lines that tell an assistant's program of the tool server, ready to be pasted into a shell. They name the
// support directory when it isn't the usual one.
std::string claudeCommand();
std::string codexCommand();

}  // namespace vesk::app
