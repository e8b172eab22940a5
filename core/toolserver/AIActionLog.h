#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/toolserver/AIAction.h"
#include "core/vault/Vault.h"

namespace vesk {

// What assistants did, so that the user can see it and take it back: "ai-actions.jsonl" in the support directory, one
// action a line as JSON. It only ever grows: an action that was undone follows once more, flagged as undone. Several
// processes write it at once, each line with one write at its end.
class AIActionLog {
 public:
  static constexpr std::string_view fileName = "ai-actions.jsonl";

  // `directory` is the support directory.
  explicit AIActionLog(std::string directory) : directory_(std::move(directory)) {}

  const std::string& directory() const { return directory_; }

  // Adds one line; on disk before this returns when the action changes the vault. The directory and the file are made
  // when they are missing. A last line that a killed process left unfinished is ended first. FileError.
  void append(const AIAction& action) const;

  // Throws the FileError that append would, as far as it can be known beforehand.
  void requireWritable() const;

  // The newest first by date, at most so many; of lines with the same id the last one written. Lines that are no action
  // are passed over.
  std::vector<AIAction> recent(std::size_t limit) const;

  // The action of that id as it stands now; nullopt when there is none.
  std::optional<AIAction> find(std::string_view id) const;

  // Takes an action back and notes that in the log. Throws VaultError::changedSince, and nothing is touched, when what
  // it concerns changed since, or it was undone already; an Error when it was done in another vault or the mail
  // database can't be used.
  void undo(const AIAction& action, const Vault& vault) const;

  // Likewise, of an action that was only just done by who calls this.
  void takeBack(AIAction action, const Vault& vault) const;

 private:
  std::string directory_;
};

}  // namespace vesk
