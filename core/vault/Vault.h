#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Json.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/vault/Organization.h"
#include "core/vault/ParsedNotes.h"
#include "core/vault/VaultAppearance.h"
#include "core/vault/VaultError.h"
#include "core/vault/VaultScan.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// A file's whole text on both sides of a change.
struct TextChange {
  std::string before = {};
  std::string after = {};
  bool operator==(const TextChange&) const = default;
};

// A folder of Markdown notes, and every change that is made to it.
//
// A value: it holds the folder's path and a parse cache that its copies share. Paths are vault-relative, with "/"
// between components; a noteID is the path of a note with its ".md". A path that leads out of the vault, through ".."
// or a link, throws VaultError::outsideVault. Every operation completes or throws before it writes; writes are whole
// and atomic, and hold the vault's lock from what they read to what they write. File-system failures pass through as
// FileErrors. May be used from any thread.
class Vault {
 public:
  // The hidden folder of Vesk's own settings.
  static constexpr std::string_view settingsFolder = ".vesk";

  // `root` is an absolute path, else an Error is thrown; "." and ".." in it are taken out.
  explicit Vault(std::string_view root);

  const std::string& root() const { return root_; }

  // The absolute path of a vault-relative one; "" gives the root.
  std::string resolve(std::string_view path) const;

  // A typed title as a file name: characters that file systems or links can't carry become spaces, at most 120
  // characters remain, and what file systems take. Throws VaultError::invalidName when nothing does, or a hidden name
  // would.
  static std::string fileName(std::string_view title);

  // What Vesk does when the user opens a folder: removes temporary files that a killed process left, and tells git to
  // leave them alone.
  void prepare() const;

  // ---- Layout

  std::optional<Organization> organization() const;  // nullopt when there is none that can be read
  void save(const Organization& organization) const;
  VaultAppearance appearance() const;
  void save(const VaultAppearance& appearance) const;

  // Makes the PARA folders, and one for each project and area named.
  void createStructure(const std::vector<std::string>& projects, const std::vector<std::string>& areas) const;

  // Saves an organization for a vault that is there, and makes the folders it lacks.
  void adopt(const Organization& organization, const std::vector<std::string>& areas) const;

  // What switching to another organization would move; nothing is changed.
  OrganizationChange planChange(const Organization& target) const;
  // Makes the moves; returns the items that could not be moved, since they are gone or their place was taken meanwhile.
  std::vector<std::string> apply(const OrganizationChange& change) const;

  // ---- Reading

  // Reads the whole vault; what has not changed since an earlier scan is not read again.
  VaultSnapshot scan() const;

  // Reads the whole vault and remembers nothing of it: for a program that reads it once. With a filter the snapshot
  // holds only the notes it wants, and the others need not be taken apart.
  VaultSnapshot scanOnce(NoteFilter filter = {}) const;

  // As scanOnce(), but less is read of each note: for what can be told without.
  VaultSnapshot survey(SurveyOptions options = {}) const;

  // One note as a scan would list it; nullptr when it would list none of that path.
  NoteRef note(std::string_view noteID) const;

  // The folders, without reading any note.
  std::vector<FolderSummary> folders() const;

  // The files whose names end in `ending`, but for hidden ones, in scan order. No file is read.
  std::vector<FileSummary> files(std::string_view ending) const;

  // Whether a file or a folder is there.
  bool exists(std::string_view path) const;

  // Whether folders() would list a folder of exactly that path.
  bool lists(std::string_view folder) const;

  // A note's whole text as it is now.
  std::string read(std::string_view noteID) const;

  // ---- Notes

  // Makes a note in a folder, never over another: "Plan.md", then "Plan 2.md". An empty title is "Untitled". Returns
  // the noteID.
  std::string createNote(std::string_view title, std::string_view body, const std::vector<std::string>& tags,
                         std::string_view folder) const;

  // Replaces a note's body and front-matter tags; returns the text now on disk. `expecting` is the whole text that the
  // caller last read: when the file holds anything else, VaultError::conflict is thrown and nothing written. Without it
  // nothing is compared.
  std::string save(std::string_view noteID, std::string_view body, const std::vector<std::string>& tags,
                   std::optional<std::string_view> expecting = {}) const;

  // Replaces a file's text by what `change` makes of it. One that stays as it was is not written; when `change` throws,
  // nothing is.
  TextChange rewrite(std::string_view path, const std::function<std::string(const std::string& text)>& change) const;

  // Makes a file of that text; false, and nothing done, when something has that path. Its folder is made, too.
  bool createFile(std::string_view path, std::string_view text) const;

  // The path that a title has in a folder as a file with that ending; with a number from 2 where the name is taken.
  static std::string filePath(std::string_view title, std::string_view folder, std::string_view ending, int number = 1);

  // The text that createNote gives a note. A body may bring front matter of its own; the tags join those in it.
  static std::string noteText(std::string_view body, const std::vector<std::string>& tags);

  // The noteID that a title has in a folder, likewise.
  static std::string noteID(std::string_view title, std::string_view folder, int number = 1);

  // The noteID that createNote would give a note now.
  std::string nextNoteID(std::string_view title, std::string_view folder) const;

  // Adds text at the end, on a line of its own.
  TextChange append(std::string_view text, std::string_view noteID) const;

  // The text with more at its end, on a line of its own.
  static std::string appended(std::string_view text, std::string_view more);

  // Takes exactly that text off the end again; VaultError::changedSince when the note no longer ends in it.
  void removeAppended(std::string_view text, std::string_view noteID) const;

  // Renames a note's file; returns its new noteID. VaultError::nameTaken when there is one of that name.
  std::string rename(std::string_view noteID, std::string_view title) const;

  // Moves a note to a folder, which is made when it is missing; returns its new noteID. VaultError::nameTaken likewise.
  std::string move(std::string_view noteID, std::string_view folder) const;

  // Moves any item to a new path.
  void movePath(std::string_view from, std::string_view to) const;

  // Replaces a tag, and the tags nested below it, in every note of the snapshot that carries it, code left alone.
  // Returns the number of notes changed, and tells of each as soon as it is. VaultError::invalidName when `newTag`
  // can't be a tag.
  std::size_t renameTag(std::string_view oldTag, std::string_view newTag, const VaultSnapshot& snapshot,
                        const std::function<void(const NoteRef&, const TextChange&)>& onChange = {}) const;

  // A template's text: "{{date}}" becomes the day, "{{title}}" the note's name.
  static std::string filledTemplate(std::string_view noteTemplate, std::string_view name,
                                    std::chrono::year_month_day day);

  // The daily note of that name, made from the template when there is none: "{{date}}" becomes the day, "{{title}}" the
  // name. Returns its noteID.
  std::string journalNote(std::string_view name, std::string_view folder, std::string_view noteTemplate,
                          std::chrono::year_month_day day) const;

  // ---- Folders

  // Makes a folder; returns its path. VaultError::nameTaken when there is one.
  std::string createFolder(std::string_view name, std::string_view parent) const;
  // Makes a folder and its missing parents; returns the paths of those it made, a parent before what lies in it.
  std::vector<std::string> ensureFolder(std::string_view path) const;
  std::string renameFolder(std::string_view path, std::string_view name) const;
  std::string moveFolder(std::string_view path, std::string_view parent) const;

  // ---- Trash: the desktop's own. Each returns the absolute path that the item has there.

  std::string trash(std::string_view path) const;
  std::string moveToTrash(std::string_view noteID) const { return trash(noteID); }
  std::string moveFolderToTrash(std::string_view path) const { return trash(path); }
  // VaultError::changedSince when anything is in the folder.
  std::string moveEmptyFolderToTrash(std::string_view path) const;

  // Moves an item back from the Trash. VaultError::nameTaken when something has that path now.
  void restore(const std::string& fromTrash, std::string_view to) const;

  // Writes back an earlier text; VaultError::changedSince when the file does not hold `expecting`.
  void restoreText(std::string_view text, std::string_view expecting, std::string_view path) const;

 private:
  static constexpr std::size_t longestName = 255;  // bytes, as file systems count

  // The beginning of a name that fits; VaultError::invalidName when there is none.
  static std::string cutName(std::string_view name, std::size_t bytes);

  // The name with its ending, cut where the two would be too long for a file system.
  static std::string named(std::string_view name, std::string_view ending);

  // The path without "." and "..".
  static std::string normalized(std::string_view path);

  Folder open() const { return Folder::open(root_); }
  FileLock lock() const { return FileLock(root_); }

  // Runs step(open vault, path within it). A link that leads out is refused like any other path that does.
  template <typename Step>
  auto at(std::string_view path, Step step) const {
    const std::string inside = normalized(path);
    try {
      return step(open(), inside);
    } catch (const OutsideFolderError&) {
      throw VaultError::outsideVault(path);
    }
  }

  VaultSnapshot scanWith(const ScanOptions& options) const;
  std::optional<Json> readSettings(std::string_view name) const;
  void writeSettings(std::string_view name, const std::function<void(Json& json)>& change) const;
  std::vector<Organization::Place> currentPlaces() const;
  // The top-level folder of that name, regardless of case, as it is on disk; the name itself when there is none.
  std::string topLevelFolder(std::string_view name) const;
  std::string trashHeld(std::string_view path) const;  // trash() for who holds the lock

  std::string root_;
  std::shared_ptr<ParsedNotes> parsed_ = std::make_shared<ParsedNotes>();
};

}  // namespace vesk
