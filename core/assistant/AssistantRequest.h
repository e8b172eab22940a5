#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/assistant/AssistantProvider.h"

namespace vesk {

// What an assistant is run for, and so what it may do.
enum class AssistantMode {
  chat,                   // the tool server's tools, and no others
  meeting,                // beside a live meeting: the tools that only read; it asks for anything else with a proposal
  approvedMeetingAction,  // the user said yes to a proposal: what the user's own Claude may, but for shell and files
};

// One turn of a conversation.
struct AssistantRequest {
  AssistantProvider provider = AssistantProvider::claude;
  std::string prompt = {};                                 // the user's message
  std::optional<std::string> sessionID = {};               // from an earlier turn, to go on with it
  std::string serverPath = {};                             // of vesk-mcp, for the assistant to start
  std::string workspace = {};                              // the folder it works in; made when it is missing
  std::optional<std::string> serverSupportDirectory = {};  // for vesk-mcp; absent for the usual one
  AssistantMode mode = AssistantMode::chat;

  // What is written to its standard input. The user's words never stand on a command line, where others could read
  // them.
  std::string input() const;

  // The words behind `claude` and behind `codex`.
  std::vector<std::string> claudeArguments() const;
  std::vector<std::string> codexArguments() const;
};

}  // namespace vesk
