#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/base/Time.h"

namespace vesk {

// One thing that an assistant did. Which fields are set depends on its kind; the table in Undo.h says what is needed to
// take it back.
struct AIAction {
  enum class Kind {
    read,
    search,
    file,
    createNote,
    createFolder,
    append,
    edit,
    rename,
    moveFolder,
    trash,
    sync,
    draftEmail,
    updateEmail,
  };

  std::string id = {};  // a UUID
  Timestamp date = distantPast;
  Kind kind = Kind::read;
  std::string title = {};                        // the item's, as the user knows it
  std::optional<std::int64_t> resultCount = {};  // of a search
  std::optional<std::string> noteID = {};        // the path of what was acted on, afterwards
  std::optional<std::string> fromFolder = {};    // where it was before a move or a rename
  std::optional<std::string> toFolder = {};      // where it went
  std::optional<std::string> appended = {};      // exactly what was added at the end
  std::optional<std::string> before = {};        // the whole text before an edit; of an email a MailState
  std::optional<std::string> after = {};      // afterwards likewise, or the text of what was made; a MailDraft's JSON
  std::optional<std::string> trashedTo = {};  // absolute
  std::optional<std::string> vaultPath = {};  // the vault it was done in, absolute; mail is in none
  bool isUndone = false;

  bool changesVault() const;  // or mail; false for reads, searches and syncs
  bool isOfMail() const;      // which lies in no vault
  bool canUndo() const;

  bool operator==(const AIAction&) const = default;
};

std::string_view name(AIAction::Kind kind);  // as it is written in JSON

// The action as an object whose keys are the names of the fields, and back; nullopt when the JSON is no action.
Json toJson(const AIAction& action);
std::optional<AIAction> actionFrom(const Json& json);

}  // namespace vesk
