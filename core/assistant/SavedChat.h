#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/assistant/ChatTurn.h"
#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/vault/Vault.h"

namespace vesk {

// A chat with an assistant, kept as a note that the user can read, edit, rename and move:
//
//   ---
//   provider: claude
//   session: 6d3f…                  with which the assistant goes on, when it can
//   imported: 68a1…                 of an imported chat: its id where it comes from
//   started: 2026-11-20T14:05:00Z
//   tags: [ai-conversation]
//   ---
//   # Where to plant the lemon tree
//
//   ## You
//
//   …
//
//   ## Claude
//
//   …
struct SavedChat {
  ChatProvider provider = ChatProvider::claude;
  std::string title = {};           // one line; "" is "Chat"
  std::string session = {};         // "" for none, as for `imported`; see isChatID
  std::string imported = {};        // likewise
  Timestamp started = distantPast;  // in whole seconds; distantPast when it isn't known
  std::vector<ChatTurn> turns = {};
  bool operator==(const SavedChat&) const = default;

  // The note's text. What it says reads back; of the turns' texts, what ChatTurns::kept() makes of them.
  std::string noteText() const;

  // Nullopt when the note is no saved chat: for want of the tag or of a provider. An id that is none is left out.
  static std::optional<SavedChat> parse(std::string_view noteText);
};

// Whether that may be the id of a session or of an imported chat: up to 128 ASCII letters, digits and "-_.:", the first
// no "-". Ids from notes reach command lines.
bool isChatID(std::string_view text);

// A title for a chat that has none: the beginning of what the user said first.
std::string chatTitle(std::string_view firstWords);

// Where a vault keeps its chats: "Chats" among its resources. The folder need not be there yet.
std::string chatsFolder(const Vault& vault);

// Makes the chat's note, "2026-11-20 Where to plant the lemon tree", and returns its noteID. What Vault::createNote
// throws passes through.
std::string saveChat(const Vault& vault, const SavedChat& chat, std::string_view folder, const Calendar& calendar);

// Adds a turn at the end of a chat's note, whatever was done to the note meanwhile.
void appendTurn(const Vault& vault, std::string_view noteID, const ChatTurn& turn, ChatProvider provider);

// Changes the session with which a chat's assistant goes on. A note that is no saved chat any more is left alone.
void setChatSession(const Vault& vault, std::string_view noteID, std::string_view session);

struct SavedChatNote {
  std::string noteID = {};
  SavedChat chat = {};  // without its turns; its title is the note's
};

// Every saved chat of the vault, wherever it lies, the latest started first.
std::vector<SavedChatNote> savedChats(const Vault& vault, std::optional<ChatProvider> provider = {});

// The chat with that session of an assistant; of several, the latest started.
std::optional<SavedChatNote> chatOfSession(const Vault& vault, ChatProvider provider, std::string_view session);

}  // namespace vesk
