#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/toolserver/AIAccess.h"
#include "core/vault/Vault.h"

namespace vesk {

class ToolArguments;

// What the handler of one call works with. Nothing of the vault is read before a handler asks for it, and then once.
class ToolContext {
 public:
  ToolContext(AIAccess access, Vault vault) : access_(std::move(access)), vault_(std::move(vault)) {}

  const AIAccess& access() const { return access_; }
  const Vault& vault() const { return vault_; }

  const Organization& organization();

  // The folders a note can be filed into: those there are, and the places whose folder is still to be made.
  const std::vector<FolderSummary>& folders();

  // Reads every note.
  const VaultSnapshot& snapshot();

  // The note that the argument "note" names by its path or its exact title. ToolError when it is missing, or no note or
  // several match.
  NoteRef note(const ToolArguments& arguments);

  // The notes that link to this one.
  std::vector<NoteRef> backlinks(const Note& note);

  // Throws ToolError unless `folder` is one of folders().
  void requireFolder(std::string_view folder);

 private:
  AIAccess access_;
  Vault vault_;
  std::optional<Organization> organization_;
  std::optional<std::vector<FolderSummary>> folders_;
  std::optional<VaultSnapshot> snapshot_;

  // The notes that may have a title, or link to a file of that name; kept for the next question about the same.
  const VaultSnapshot& notesAbout(std::string_view name);
  std::string about_;
  std::optional<VaultSnapshot> notesAbout_;
};

}  // namespace vesk
