#pragma once

#include <string>

#include "core/assistant/AssistantRegistration.h"

namespace vesk::app {

// The absolute path of `vesk-mcp`, which lies beside this program.
std::string toolServerPath();

// The support directory that a tool server uses which is told of none. XDG_DATA_HOME doesn't count: Codex
// doesn't pass it on.
std::string usualSupportDirectory();

// What assistants are to start: the tool server beside this program, with its support directory unless that is the
// usual one.
ToolServerEntry toolServerEntry();

// The command lines that tell an assistant's program of the tool server, ready to be pasted into a shell. They name the
// support directory when it isn't the usual one.
std::string claudeCommand();
std::string codexCommand();

}  // namespace vesk::app
