#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/diagrams/DiagramFiles.h"
#include "core/tasks/TaskItem.h"
#include "core/toolserver/AIAccess.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/RecordedChanges.h"
#include "core/toolserver/Surroundings.h"
#include "core/vault/Vault.h"

namespace vesk {

class ToolArguments;

// What the handler of one call works with. Nothing of the vault is read before a handler asks for it, and then once.
class ToolContext {
 public:
  // `directory` is the support directory, `changeID` the id that the change has or would have as a proposal, `approved`
  // the proposal that is being carried out; nullptr when there is none.
  ToolContext(std::string directory, Surroundings surroundings, AIAccess access, Vault vault, std::string changeID,
              const Proposal* approved = nullptr);
  ToolContext(const ToolContext&) = delete;
  ToolContext& operator=(const ToolContext&) = delete;

  // The support directory.
  const std::string& directory() const { return directory_; }
  const AIAccess& access() const { return access_; }
  const Vault& vault() const { return vault_; }
  const AIActionLog& log() const { return log_; }
  const ProposalStore& proposals() const { return proposals_; }
  const Surroundings& surroundings() const { return surroundings_; }

  // Ids of what a change makes anew. They follow from the change's own id: what is carried out has those that were
  // shown to the user.
  Diagram::NewID newIDs() const;

  // Every change to the vault goes through these.
  RecordedChanges& changes() { return changes_; }

  // The id that the change has as a proposal.
  const std::string& changeID() const { return changeID_; }

  // Notes in the log what was read or looked for; where the log can't be written, reading goes on.
  void recordRead(std::string_view title, std::optional<std::string> path = {}) const;
  void recordSearch(std::string_view query, std::size_t results) const;

  const Organization& organization();

  // The folders a note can be filed into: those there are, and the places whose folder is still to be made.
  const std::vector<FolderSummary>& folders();

  // Every note, see Vault::survey(). Kept as long as the context.
  const VaultSnapshot& survey(SurveyOptions options = {});

  // The note that the argument "note" names by its path or its exact title. ToolError when it is missing, or no note or
  // several match.
  NoteRef note(const ToolArguments& arguments);

  // The diagram that the argument "diagram" names, likewise.
  DiagramFile diagram(const ToolArguments& arguments) const;

  // The task that the argument "task" names by its id. ToolError when it is missing, or there is no such task.
  TaskItem task(const ToolArguments& arguments) const;

  // The folder that the argument `key` names. ToolError(message) when it is missing, and when it is none of folders().
  std::string folder(const ToolArguments& arguments, std::string_view key, const char* message);

  // The folder that the argument "folder" names; the inbox's place without it.
  std::string folderOrInbox(const ToolArguments& arguments);

  // The paths of the notes that link to this one.
  std::vector<std::string> backlinks(const Note& note);

  // The paths of the notes that show the diagram.
  std::vector<std::string> notesShowing(const DiagramFile& diagram) const;

  // Throws ToolError unless `folder` is one of folders().
  void requireFolder(std::string_view folder);

 private:
  std::string directory_;
  Surroundings surroundings_;
  AIAccess access_;
  Vault vault_;
  AIActionLog log_;
  ProposalStore proposals_;
  std::string changeID_;
  RecordedChanges changes_;
  std::optional<Organization> organization_;
  std::optional<std::vector<FolderSummary>> folders_;

  void recordQuietly(AIAction action) const;

  // The notes that may have a title, or link to a file of that name; kept for the next question about the same.
  const VaultSnapshot& notesAbout(std::string_view name);
  std::string about_;
  std::optional<VaultSnapshot> notesAbout_;
  std::optional<VaultSnapshot> surveyed_;
};

}  // namespace vesk
