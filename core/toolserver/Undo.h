#pragma once

#include <optional>
#include <string>

#include "core/toolserver/AIAction.h"
#include "core/vault/Vault.h"

namespace vesk {

// Taking back what an assistant did, as its log has it.
//
// clang-format off
// | kind         | what the log holds              | is undone by        | as long as                               |
// |--------------|---------------------------------|---------------------|------------------------------------------|
// | file         | noteID (now), fromFolder        | moving it back      | it is at noteID, its old place is free   |
// | createNote   | noteID, after                   | the Trash           | its text is `after`                      |
// | createFolder | noteID                          | the Trash           | it is an empty folder                    |
// | append       | noteID, appended                | taking the text off | the note ends with it                    |
// | edit         | noteID, before, after           | writing `before`    | its text is `after`                      |
// | rename       | noteID and toFolder, fromFolder | moving it back      | it is at toFolder, its old place is free |
// | moveFolder   | toFolder, fromFolder            | moving it back      | it is at toFolder, its old place is free |
// | trash        | noteID (before), trashedTo      | restoring it        | it is in the Trash, its place is free    |
// | draftEmail   | after: the draft                | removing it         | it says what `after` does                |
// | updateEmail  | before, after: a MailState each | what leads back     | it is in that folder or on its way to it |
// |              |                                 |                     | and, where these changed, has its flags  |
// clang-format on
//
// For `file`, fromFolder is the folder the note was in; for `rename` and `moveFolder` the paths are the item's own.
// Reads, searches and syncs change nothing. `edit` and `append` undo what they did to any text file of the vault. Mail
// lies in the support directory, `directory`, and is no vault's.
namespace undo {

// Why the action can't be undone now, as a sentence; nullopt when it can.
std::optional<std::string> obstacle(const AIAction& action, const Vault& vault, const std::string& directory);

// What undoing would do, as a sentence: "Moves Plan.md back to Inbox.".
std::string description(const AIAction& action);

// Undoes it. VaultError::changedSince, and nothing is touched, when the last column does not hold or it was undone
// already; Error when it was done in another vault, and MailError for a mail database that can't be used.
void run(const AIAction& action, const Vault& vault, const std::string& directory);

}  // namespace undo

}  // namespace vesk
