#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/MailStore.h"
#include "core/toolserver/AIAction.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "core/vault/Vault.h"

namespace vesk {

// Every way in which a tool changes the vault, or mail: each makes the change and records it in the log, so that the
// user can undo it. A change that can't be recorded is taken back, and the failure is thrown.
class RecordedChanges {
 public:
  using Edit = std::function<std::string(const std::string& text)>;

  // `approved` is the proposal that is being carried out; nullptr when there is none. A note's text is then only
  // changed from and to what the user saw; else VaultError::conflict is thrown. All must outlive this object.
  RecordedChanges(const Vault& vault, const AIActionLog& log, Timestamp now, const Proposal* approved)
      : vault_(vault), log_(log), now_(now), approved_(approved) {}

  // A note's text as `edit` makes it. `title` is the item's here and below, as the user knows it.
  TextChange edit(const std::string& path, std::string_view title, const Edit& edit);

  // Likewise, by an edit that only adds at the end.
  TextChange append(const std::string& path, std::string_view title, const Edit& edit);

  // Both make what is missing of the folder. createFile gives false when something has that path.
  std::string createNote(std::string_view title, std::string_view body, const std::vector<std::string>& tags,
                         std::string_view folder);
  bool createFile(const std::string& path, std::string_view title, std::string_view text);

  std::string createFolder(std::string_view name, std::string_view parent);

  // Each returns the new path.
  std::string moveNote(const Note& note, std::string_view folder);
  std::string renameNote(const Note& note, std::string_view title);
  std::string renameFolder(std::string_view path, std::string_view name);
  std::string moveFolder(std::string_view path, std::string_view parent);

  // Renames any file: gives it another path in its folder.
  void renameFile(const std::string& path, std::string_view title, const std::string& renamed);

  void trash(const std::string& path, std::string_view title);

  // That the vault was synced, which nothing undoes.
  void recordSync(std::string_view title);

  // One action for each note. Returns the number of notes changed.
  std::size_t renameTag(std::string_view oldTag, std::string_view newTag, const VaultSnapshot& snapshot);

  // Saves a draft. One of its id that is there already stays as it is: this is a proposal that is carried out again.
  void draftEmail(MailStore& store, const MailDraft& draft, std::string_view title);

  // Makes changes to an email here, and has the server told. False, and nothing done, when it isn't any more as `mail`
  // has it.
  bool updateEmail(MailStore& store, const MailSummary& mail, const std::vector<MailChange>& changes,
                   std::string_view title);

  // Undoes the last of these changes, for one that is of no use without the next.
  void takeBackLast();

  // What has become of the texts that were changed, by their paths.
  const std::map<std::string, TextChange>& texts() const { return texts_; }

 private:
  void recordEdit(const std::string& path, std::string_view title, const TextChange& change);
  TextChange rewrite(const std::string& path, const Edit& edit);
  void ensureFolder(std::string_view path);
  void logTrash(std::string_view title, std::string_view path, std::string landed);
  void record(AIAction action);
  void takeBack(const AIAction& action, const Error& failure) const;

  const Vault& vault_;
  const AIActionLog& log_;
  Timestamp now_;
  const Proposal* approved_;
  std::optional<AIAction> last_;
  std::map<std::string, TextChange> texts_;
};

}  // namespace vesk
