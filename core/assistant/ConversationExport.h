#pragma once

#include <optional>

#include "core/assistant/SavedChat.h"
#include "core/base/Json.h"

namespace vesk {

// The conversations in the file that the user's data is exported with, an array in "conversations.json". Neither
// ChatGPT nor Claude documents it; what is here was seen in such files.
namespace ConversationExport {

// Where a conversation was exported from: ChatGPT's have a "mapping", Claude's have "chat_messages". Nullopt for what
// is neither.
std::optional<ChatProvider> provider(const Json& conversation);

// The conversation as a chat; of ChatGPT's the branch that the user saw last. What a note doesn't hold is named in
// brackets: "[image asset pointer]", "[file: plan.pdf]". Left out is only what the user wasn't shown. Throws Error,
// with the reason, when there is nothing to make a chat of.
SavedChat read(const Json& conversation);

}  // namespace ConversationExport

}  // namespace vesk
