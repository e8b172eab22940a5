#include "core/sync/GitSync.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <initializer_list>
#include <set>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/sync/ICloudDrive.h"
#include "core/sync/RemoteAddress.h"
#include "core/vault/Vault.h"

namespace fs = std::filesystem;

namespace vesk {

namespace {

using Arguments = std::vector<std::string>;

constexpr std::string_view ignoredFiles = ".DS_Store\n.trash/\n.obsidian/workspace*\n";

// Whatever is there, a link that leads nowhere too.
bool isThere(const fs::path& path) {
  std::error_code unknown;
  return fs::exists(fs::symlink_status(path, unknown));
}

template <typename Number>
std::optional<Number> number(std::string_view digits) {
  Number value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

std::string trimmed(std::string_view text) { return std::string(text::trimWhitespace(text)); }

// ---- What stands in the repository

// The folder of the repository's own files. A ".git" that is a file says where that is.
fs::path repositoryFolder(const std::string& root, const GitCommand& git) {
  fs::path entry = fs::path(root) / ".git";
  std::error_code unknown;
  if (fs::is_directory(entry, unknown)) return entry;
  return trimmed(git.run({"rev-parse", "--absolute-git-dir"}));
}

// The operation that git keeps such a file for until it is completed or given up; "" when there is none.
std::string unfinishedOperation(const fs::path& repository) {
  constexpr std::pair<const char*, const char*> traces[] = {
      {"rebase-merge", "rebase"}, {"rebase-apply/applying", "am"},     {"rebase-apply", "rebase"},
      {"MERGE_HEAD", "merge"},    {"CHERRY_PICK_HEAD", "cherry-pick"}, {"REVERT_HEAD", "revert"}};
  for (const auto& [file, operation] : traces)
    if (isThere(repository / file)) return operation;
  // Several commits at a time: the next one to come stands first.
  const Folder folder = Folder::open(repository.string());
  if (!folder.exists("sequencer")) return {};
  const bool reverts = folder.exists("sequencer/todo") && folder.read("sequencer/todo").starts_with("revert");
  return reverts ? "revert" : "cherry-pick";
}

bool hasConflicts(const GitCommand& git) {
  const ProcessResult unmerged = git.result({"ls-files", "-u", "-z"});
  if (!unmerged.succeeded()) throw git.failure(unmerged);
  return !unmerged.output.empty();
}

// A rebase goes on when the sync that began it is stopped.
bool isStillRebasing(const fs::path& repository) {
  std::error_code none;
  const auto changed = fs::last_write_time(repository / "rebase-merge", none);
  return !none && std::chrono::abs(fs::file_time_type::clock::now() - changed) < std::chrono::seconds(10);
}

// Throws unless the repository is in a state in which all that is in the vault may be committed.
void requireReady(const GitCommand& git, const fs::path& repository) {
  for (const char* name : {"index.lock", "HEAD.lock"})  // first, as nothing else can be mended before
    if (const fs::path lock = repository / name; isThere(lock))
      throw GitError::failed(
          fmt::format("Another Git command is at work in this vault, or one was stopped halfway. When none is running, "
                      "remove {} and sync again.",
                      lock.string()));
  if (hasConflicts(git)) throw GitError::conflict();
  if (isStillRebasing(repository))
    throw GitError::failed("Git is still at work on a sync that was stopped. Sync again in a moment.");
  if (!unfinishedOperation(repository).empty()) throw GitError::conflict();
}

// The full name, "refs/heads/main": as a short one, it could be taken for a tag's.
std::string currentBranch(const GitCommand& git) {
  const ProcessResult head = git.result({"symbolic-ref", "--quiet", "HEAD"});
  if (head.exit.code == 1)
    throw GitError::failed("No branch is checked out in this vault, so there is none to sync. Check one out in Git.");
  if (!head.succeeded()) throw git.failure(head);
  return trimmed(head.output);
}

bool hasCommits(const GitCommand& git) {
  const ProcessResult head = git.result({"rev-parse", "--verify", "--quiet", "HEAD"});
  if (!head.succeeded() && head.exit.code != 1) throw git.failure(head);
  return head.succeeded();
}

// Holds off other syncs of the vault.
FileLock lockRepository(const fs::path& repository) {
  try {
    return FileLock(repository.string());
  } catch (const FileError& error) {
    if (error.code() != EWOULDBLOCK) throw;
    throw GitError::failed("Another sync of this vault is under way.");
  }
}

// What `git status --porcelain=v2 --branch -z` prints (git-status(1), "Porcelain Format Version 2"). A renamed file's
// earlier name is a record by itself.
GitStatus parsedStatus(std::string_view output) {
  GitStatus status{.isRepository = true};
  bool isEarlierName = false;
  for (const std::string_view record : text::split(output, '\0')) {
    if (record.empty() || std::exchange(isEarlierName, false)) continue;
    if (!record.starts_with('#')) {
      ++status.pendingChanges;
      status.hasConflicts = status.hasConflicts || record.starts_with('u');
      isEarlierName = record.starts_with('2');
      continue;
    }
    const auto words = text::split(record, ' ');  // "# branch.head main", "# branch.ab +1 -2"
    if (words.size() == 3 && words[1] == "branch.head" && words[2] != "(detached)") status.branch = words[2];
    if (words.size() != 4 || words[1] != "branch.ab" || words[2].empty() || words[3].empty()) continue;
    status.ahead = number<std::size_t>(words[2].substr(1));
    status.behind = number<std::size_t>(words[3].substr(1));
  }
  return status;
}

// Takes no lock: a command of the user's at the same time isn't disturbed.
Arguments readStatus() { return {"--no-optional-locks", "status", "--porcelain=v2", "--branch", "-z"}; }

// ---- The steps of a sync

// What of the user's settings a sync depends on.
struct Settings {
  std::string userName = {};
  std::string userEmail = {};
  std::string sshCommand = {};
};

Settings readSettings(const GitCommand& git) {
  const ProcessResult found =
      git.result({"config", "-z", "--get-regexp", R"(^(user\.name|user\.email|core\.sshcommand)$)"});
  const bool hasNone = found.exit.code == 1;
  if (!found.succeeded() && !hasNone) throw git.failure(found);
  Settings settings;
  for (const std::string_view record : text::split(found.output, '\0')) {
    const std::size_t line = record.find('\n');
    if (line == std::string_view::npos) continue;
    const std::string_view key = record.substr(0, line);
    auto& setting = key == "user.name"    ? settings.userName
                    : key == "user.email" ? settings.userEmail
                                          : settings.sshCommand;
    setting = trimmed(record.substr(line + 1));
  }
  return settings;
}

// Arguments that give a name to whom git knows none of.
Arguments identity(const Settings& settings) {
  if (!settings.userName.empty() && !settings.userEmail.empty()) return {};
  return {"-c", "user.name=Vesk", "-c", "user.email=vesk@localhost"};
}

Arguments joined(std::initializer_list<Arguments> parts) {
  Arguments all;
  for (const Arguments& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Of a repository within the vault, Git would commit no more than the name of its last commit. One that was committed
// by hand, as a submodule is, is meant that way.
void requireNoneWithin(const GitCommand& git) {
  const std::string added = git.run({"diff", "--cached", "--raw", "-z", "--no-renames", "--diff-filter=A"});
  const auto fields = text::split(added, '\0');  // ":000000 160000 …", then the path
  for (std::size_t i = 0; i + 1 < fields.size(); i += 2) {
    if (!fields[i].starts_with(":000000 160000 ")) continue;
    git.run({"reset", "-q"});
    throw GitError::failed(
        fmt::format("{0} is a Git repository of its own, so a sync would leave out all that is in it. Move its .git "
                    "elsewhere, or leave the folder out with a line /{0}/ in .gitignore, then sync again.",
                    fields[i + 1]));
  }
}

// Returns the number of files that have changed.
std::size_t commitAll(const GitCommand& git, const Arguments& as) {
  git.run({"add", "-A"});
  const std::string names = git.run({"diff", "--cached", "--name-only", "-z"});
  const auto count = static_cast<std::size_t>(std::ranges::count(names, '\0'));
  if (count == 0) return 0;
  requireNoneWithin(git);
  const std::string message = count == 1 ? "Update 1 note" : fmt::format("Update {} notes", count);
  git.run(joined({as, {"commit", "-q", "-m", message}}));
  return count;
}

bool isAncestor(const GitCommand& git, const char* commit, const char* of) {
  return git.result({"merge-base", "--is-ancestor", commit, of}).succeeded();
}

// What is in the place of a file that is to be written: something of its name, or a file of a folder's name. "" when
// nothing is.
std::string_view inTheWay(const fs::path& root, std::string_view path) {
  std::error_code unknown;
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
    const std::string_view folder = path.substr(0, slash);
    const fs::file_status found = fs::symlink_status(root / folder, unknown);
    if (!fs::exists(found)) return {};
    if (!fs::is_directory(found)) return folder;
  }
  return isThere(root / path) ? path : std::string_view();
}

// All that git doesn't ignore is committed by now. What it ignores it would write over without a word.
void requireNothingHidden(const GitCommand& git, const std::string& root) {
  constexpr const char* emptyTree = "4b825dc642cb6eb9a060e54bf8d69288fbee4904";
  const char* ours = hasCommits(git) ? "HEAD" : emptyTree;
  const std::string changed =
      git.run({"diff", "--name-status", "-z", "--no-renames", "--diff-filter=AD", ours, "FETCH_HEAD"});
  const auto fields = text::split(changed, '\0');  // "A" or "D", then the path
  std::set<std::string_view> removed;
  for (std::size_t i = 0; i + 1 < fields.size(); i += 2)
    if (fields[i] == "D") removed.insert(fields[i + 1]);
  for (std::size_t i = 0; i + 1 < fields.size(); i += 2) {
    if (fields[i] != "A") continue;
    if (const auto hidden = inTheWay(root, fields[i + 1]); !hidden.empty() && !removed.contains(hidden))
      throw GitError::failed(
          fmt::format("The repository holds {}, and here Git ignores {}, which would be lost. Move it out of the way, "
                      "then sync again.",
                      fields[i + 1], hidden));
  }
}

// The command that brings in what was fetched. A merge that was made by hand is kept as one: a rebase would undo what
// was decided in it.
Arguments bringIn(const GitCommand& git, bool allowUnrelated) {
  if (!hasCommits(git)) return {"merge", "-q", "--ff-only", "FETCH_HEAD"};
  const bool isRelated = git.result({"merge-base", "HEAD", "FETCH_HEAD"}).succeeded();
  if (!isRelated && !allowUnrelated)
    throw GitError::failed("This vault and the repository have no history in common, so they aren't merged.");
  if (!isRelated) return {"merge", "-q", "--no-edit", "--ff", "--allow-unrelated-histories", "FETCH_HEAD"};
  const bool hasMerges = trimmed(git.run({"rev-list", "--merges", "--count", "FETCH_HEAD..HEAD"})) != "0";
  if (hasMerges || allowUnrelated) return {"merge", "-q", "--no-edit", "--ff", "FETCH_HEAD"};
  // A repository that was set back must not take the vault's notes with it, as it does by the fork point.
  return {"rebase", "-q", "--no-fork-point", "FETCH_HEAD"};
}

// Whether git may have given up because of what was written in the vault meanwhile: before it began, or when a rebase
// had put what was fetched in place. At a commit it stops for the user to decide.
bool isToGoOn(const ProcessResult& result, const GitCommand& git, const fs::path& repository) {
  const bool hasStopped = isThere(repository / "MERGE_HEAD") || isThere(repository / "rebase-merge/stopped-sha");
  return !result.succeeded() && !result.timedOut && !hasStopped && !hasConflicts(git);
}

// Returns how many files were committed that were written meanwhile.
std::size_t pull(const GitCommand& git, const std::string& root, const fs::path& repository, const Arguments& as,
                 const std::string& branch, bool allowUnrelated) {
  git.run({"fetch", "-q", "origin", branch});
  if (hasCommits(git) && isAncestor(git, "FETCH_HEAD", "HEAD")) return 0;
  requireNothingHidden(git, root);
  const auto finish = [&](const Arguments& command) {
    const FileLock held(root);  // git would write over what Vesk changes meanwhile
    return git.result(joined({as, command}), GitCommand::Interruption::prevented);
  };
  const Arguments bringing = bringIn(git, allowUnrelated);
  ProcessResult brought = finish(bringing);
  std::size_t committed = 0;
  for (int again = 0; again < 3 && isToGoOn(brought, git, repository); ++again) {
    const std::size_t count = commitAll(git, as);
    if (count == 0) break;
    committed += count;
    brought = finish(unfinishedOperation(repository).empty() ? bringing : Arguments{"rebase", "--continue"});
  }
  if (brought.succeeded()) return committed;
  // With both sides brought together by git's own memory ("rerere"), it stops all the same.
  if (!brought.timedOut && (hasConflicts(git) || !unfinishedOperation(repository).empty())) throw GitError::conflict();
  throw git.failure(brought);
}

// The vault would be pushed beside what the repository holds, and never see it.
void requireNoOtherBranch(const GitCommand& git, const std::string& address, std::string_view branch) {
  constexpr std::string_view heads = "refs/heads/";
  const std::string listed = git.run({"ls-remote", "--heads", address});  // "<hash>\trefs/heads/master\n"
  const std::size_t found = listed.find(heads);
  if (found == std::string::npos) return;
  const std::string_view other = std::string_view(listed).substr(found + heads.size());
  throw GitError::failed(
      fmt::format("The repository has no branch {0}, which this vault would sync with, but one named {1}. Rename that "
                  "one, or the vault's own with git branch -m.",
                  branch.substr(heads.size()), other.substr(0, other.find('\n'))));
}

}  // namespace

bool GitSync::isSafe(std::string_view remote) { return remoteAddress::isSafe(remote); }

bool GitSync::isRepository() const { return isThere(fs::path(root_) / ".git"); }

void GitSync::requireRepository() const {
  if (!isRepository()) throw GitError::failed("This vault isn't connected to a repository.");
}

void GitSync::requireOutsideICloud() const {
  if (ICloudDrive(environment::home()).contains(root_))
    throw GitError::failed(
        fmt::format("This vault is in iCloud Drive. {} Move its folder elsewhere and open it there first.",
                    ICloudDrive::oneAtATime));
}

std::optional<std::string> GitSync::remote() const {
  if (!isRepository()) return std::nullopt;
  const ProcessResult result = git().result({"remote", "get-url", "origin"});
  std::string address = result.succeeded() ? trimmed(result.output) : std::string();
  if (address.empty()) return std::nullopt;
  return address;
}

std::size_t GitSync::pendingChanges() const {
  if (!isRepository()) return 0;
  const ProcessResult result = git().result(readStatus());
  return result.succeeded() ? parsedStatus(result.output).pendingChanges : 0;
}

std::vector<GitCommit> GitSync::history(std::size_t limit) const {
  if (!isRepository()) return {};
  const GitCommand git = this->git();
  if (!hasCommits(git)) return {};
  std::vector<GitCommit> commits;
  const std::string log =
      git.run({"log", "--no-show-signature", "-z", "-n", fmt::to_string(limit), "--pretty=format:%h%x09%ct%x09%s"});
  for (const std::string_view record : text::split(log, '\0')) {
    const std::size_t first = record.find('\t');
    const std::size_t second = first == std::string_view::npos ? first : record.find('\t', first + 1);
    if (second == std::string_view::npos) continue;
    const auto seconds = number<std::int64_t>(record.substr(first + 1, second - first - 1));
    commits.push_back(
        {.hash = std::string(record.substr(0, first)),
         .date = seconds ? time::nearest(std::chrono::sys_seconds(std::chrono::seconds(*seconds))) : distantPast,
         .message = std::string(record.substr(second + 1))});
  }
  return commits;
}

GitStatus GitSync::status() const {
  if (!isRepository()) return {};
  const GitCommand git = this->git();
  GitStatus status = parsedStatus(git.run(readStatus()));
  status.unfinished = unfinishedOperation(repositoryFolder(root_, git));
  if (const auto address = remote()) status.remote = remoteAddress::withoutCredentials(*address);
  return status;
}

void GitSync::connect(std::string_view remote) const {
  if (!isSafe(remote)) throw GitError::unsafeRemote();
  requireOutsideICloud();
  const std::string address(text::trimSpaces(remote));
  const GitCommand git = this->git();
  if (!isRepository()) {
    git.run({"init", "-b", "main"});
    Folder::open(root_).createFile(".gitignore", ignoredFiles);
    Vault(root_).prepare();
  }
  const bool hasOrigin = git.result({"remote", "get-url", "origin"}).succeeded();
  git.run({"remote", hasOrigin ? "set-url" : "add", "origin", address});
}

bool GitSync::isUnrelatedTo(std::string_view remote) const {
  if (!isSafe(remote)) throw GitError::unsafeRemote();
  requireOutsideICloud();
  const std::string address(text::trimSpaces(remote));
  GitCommand git = this->git();
  const std::string branch = isRepository() ? currentBranch(git) : "refs/heads/main";
  if (readSettings(git).sshCommand.empty()) git.keepSshFromAsking();
  if (git.run({"ls-remote", "--heads", address, branch}).empty()) {
    requireNoOtherBranch(git, address, branch);
    return false;
  }
  if (!isRepository() || !hasCommits(git)) return true;
  git.run({"fetch", "-q", address, branch});
  return git.result({"merge-base", "HEAD", "FETCH_HEAD"}).exit.code == 1;
}

std::string GitSync::commandForCommits() const {
  return text::join(joined({{"git"}, identity(readSettings(git()))}), " ");
}

SyncResult GitSync::sync(bool allowUnrelated) const {
  requireRepository();
  requireOutsideICloud();
  GitCommand git = this->git();
  const fs::path repository = repositoryFolder(root_, git);
  const FileLock alone = lockRepository(repository);
  requireReady(git, repository);
  const std::string branch = currentBranch(git);
  const Settings settings = readSettings(git);
  if (settings.sshCommand.empty()) git.keepSshFromAsking();
  const Arguments as = identity(settings);

  SyncResult done{.committed = commitAll(git, as)};
  done.pulled = !git.run({"ls-remote", "--heads", "origin", branch}).empty();
  if (done.pulled) done.committed += pull(git, root_, repository, as, branch, allowUnrelated);
  const bool hasNothingYet = done.committed == 0 && !done.pulled && !hasCommits(git);
  if (hasNothingYet) return done;
  git.run({"push", "-u", "origin", "HEAD"});
  done.pushed = true;
  return done;
}

std::string GitSync::removeRepository() const {
  requireRepository();
  const fs::path entry = fs::path(root_) / ".git";
  if (!fs::is_directory(fs::symlink_status(entry)))
    throw GitError::failed("This vault's repository lies outside of it, so Vesk doesn't remove it. Do that in Git.");
  const FileLock alone = lockRepository(entry);
  if (!unfinishedOperation(entry).empty()) throw GitError::conflict();  // notes may stand in commits only
  return Vault(root_).trash(".git");
}

}  // namespace vesk
