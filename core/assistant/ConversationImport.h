#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "core/assistant/JsonArrayReader.h"
#include "core/assistant/SavedChat.h"

namespace vesk {

// What has come of an export's conversations.
struct ConversationImport {
  static constexpr std::size_t longestConversation = std::size_t{64} << 20;  // bytes of JSON
  static constexpr std::size_t namedSkips = 20;

  struct Skip {
    std::size_t number = 0;  // the conversation's in the file, from 1
    std::string reason = {};
  };

  std::string folder = {};  // where the new notes are
  std::size_t imported = 0;
  std::size_t alreadyThere = 0;
  std::size_t skipped = 0;
  std::vector<Skip> skips = {};  // the first of them
  bool isCutOff = false;         // the file ends before the list does

  std::size_t seen() const { return imported + alreadyThere + skipped; }
};

// Makes a note of each conversation in an exported "conversations.json", one conversation at a time: a file of any size
// takes the memory of its longest. A conversation that was imported before, by its id, is left as it is, wherever its
// note lies now. One that can't be read is passed over. `onProgress` is told after each.
//
// Throws Error when the file is no such export, or that of another provider (of ChatGPT and Claude); what the vault
// throws passes through. The notes made until then stay.
ConversationImport importConversations(const Vault& vault, ChatProvider provider, const PieceReader& file,
                                       const Calendar& calendar,
                                       const std::function<void(const ConversationImport&)>& onProgress = {});

}  // namespace vesk
