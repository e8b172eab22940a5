#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/sync/GitCommand.h"
#include "core/sync/GitError.h"

namespace vesk {

struct GitCommit {
  std::string hash = {};  // abbreviated
  Timestamp date = distantPast;
  std::string message = {};  // its first line
  bool operator==(const GitCommit&) const = default;
};

// How a vault stands, as far as that is known without asking the remote.
struct GitStatus {
  bool isRepository = false;
  std::optional<std::string> remote = {};  // without credentials
  std::string branch = {};                 // "" when none is checked out
  std::size_t pendingChanges = 0;          // files and new folders that the next sync will commit
  std::optional<std::size_t> ahead = {};   // commits that the remote lacks; nullopt before the first push
  std::optional<std::size_t> behind = {};  // commits that the remote had more at the last sync; likewise
  std::string unfinished = {};  // "rebase", "merge", "cherry-pick", "revert" or "am", for Git to complete; or ""
  bool hasConflicts = false;    // files wait for both sides to be brought together
  bool operator==(const GitStatus&) const = default;
};

struct SyncResult {
  std::size_t committed = 0;  // changed files
  bool pulled = false;        // false when the remote did not have the branch yet
  bool pushed = false;        // false when there is no commit yet
  bool operator==(const SyncResult&) const = default;
};

// A vault kept in step with a remote git repository, by the git command-line tool and with the user's login.
//
// A value: the vault's folder. The repository must be the vault's own; one that the vault merely lies in is not
// touched. What git refuses is thrown as GitError; FileErrors pass through, among them that git can't be started.
class GitSync {
 public:
  explicit GitSync(std::string root, GitProgram program = {}) : root_(std::move(root)), program_(std::move(program)) {}

  const std::string& root() const { return root_; }

  static bool isSafe(std::string_view remote);

  // Whether the vault has a ".git" of its own.
  bool isRepository() const;

  // The address of origin as it is set, maybe with credentials in it; nullopt when there is none.
  std::optional<std::string> remote() const;

  // How many files and new folders would be committed; 0 when git can't tell.
  std::size_t pendingChanges() const;

  // The last commits, the newest first.
  std::vector<GitCommit> history(std::size_t limit) const;

  // Reads only.
  GitStatus status() const;

  // "git", as the user has to type it before what commits: with a name where git knows none of the user's.
  std::string commandForCommits() const;

  // Asks a remote whether it has content that shares no history with the vault: then the first sync with it is to be
  // one that allows this. Changes nothing. Throws what connect() would, and GitError::failed when all it has stands in
  // branches of other names.
  bool isUnrelatedTo(std::string_view remote) const;

  // Makes the vault a repository if it is none, and `remote` its origin. GitError::unsafeRemote unless isSafe(remote),
  // GitError::failed in iCloud Drive.
  void connect(std::string_view remote) const;

  // Commits everything, pulls what the remote has of the branch, and pushes. `allowUnrelated` merges with a remote that
  // shares no history with the vault.
  //
  // GitError::conflict, and nothing is changed, while an operation in the repository is unfinished; also when the pull
  // stops because both sides changed the same notes: they stay as git leaves them. GitError::failed in iCloud Drive,
  // and when the vault has come to hold another repository, whose notes would be left out.
  SyncResult sync(bool allowUnrelated = false) const;

  // Turns sync off: moves ".git" to the Trash and returns the path that it has there. The remote keeps its copy.
  // Refused when ".git" is no folder, since the repository lies elsewhere; GitError::conflict while an operation is
  // unfinished.
  std::string removeRepository() const;

 private:
  GitCommand git() const { return {root_, program_}; }
  void requireRepository() const;
  void requireOutsideICloud() const;

  std::string root_;
  GitProgram program_;
};

}  // namespace vesk
