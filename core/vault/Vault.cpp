#include "core/vault/Vault.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/platform/AtomicFile.h"
#include "core/platform/FileError.h"

namespace vesk {

namespace {

constexpr std::size_t longestTitle = 120;  // characters

bool endsName(char c) {
  constexpr std::string_view refused = R"(/\:*?"<>|#^[])";
  return refused.find(c) != std::string_view::npos || static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// The path without ".", ".." and doubled slashes. Above the root of the file system there is nothing but the root;
// where
// ".." leads above the beginning of a relative path, there is none.
std::optional<std::string> withoutSteps(std::string_view path) {
  std::vector<std::string_view> kept;
  for (const std::string_view part : text::split(path, '/')) {
    if (part.empty() || part == ".") continue;
    if (part != "..")
      kept.push_back(part);
    else if (!kept.empty())
      kept.pop_back();
    else if (!path.starts_with('/'))
      return std::nullopt;
  }
  std::string joined;
  for (const std::string_view part : kept) joined.append(joined.empty() ? "" : "/").append(part);
  return joined;
}

// Runs a step of tidying. What can't be done is left: it does no harm, and the vault can still be opened.
template <typename Step>
void atBest(Step step) {
  try {
    step();
  } catch (const FileError&) {
  }
}

void removeTemporaryFiles(const Folder& root, const std::string& path) {
  std::vector<std::string> folders;
  for (const FolderEntry& entry : root.openFolder(path).entries()) {
    const std::string below = joinPath(path, entry.name);
    if (entry.kind == FileKind::file && atomicFile::isTemporaryName(entry.name))
      atBest([&] { root.removeFile(below); });
    const bool looksInside = !entry.name.starts_with('.') || entry.name == Vault::settingsFolder;
    if (entry.kind == FileKind::folder && looksInside) folders.push_back(below);
  }
  for (const std::string& folder : folders) atBest([&] { removeTemporaryFiles(root, folder); });
}

// Temporary files are nobody's work: without this, one that is there at the wrong moment would be committed.
void excludeFromGit(const Folder& root) {
  constexpr std::string_view path = ".git/info/exclude";
  // The second is the Trash of a drive that the vault is the top folder of.
  constexpr std::array<std::string_view, 2> patterns = {".vesk-*.tmp", ".Trash-*/"};
  // What a link leads to, a repository kept elsewhere, is not the vault's to change.
  for (const std::string_view folder : {".git", ".git/info"}) {
    const auto info = root.info(folder);
    if (!info || info->kind != FileKind::folder) return;
  }
  const auto present = root.info(path);
  if (present && present->kind != FileKind::file) return;
  const std::string before = present ? root.read(path) : std::string();
  std::string after = before;
  for (const std::string_view pattern : patterns) {
    const auto lines = text::split(before, '\n');
    if (std::find(lines.begin(), lines.end(), pattern) != lines.end()) continue;
    if (!after.empty() && !after.ends_with('\n')) after += '\n';
    after.append(pattern).append("\n");
  }
  if (after != before) root.replaceFile(path, after);
}

}  // namespace

Vault::Vault(std::string_view root) {
  if (!root.starts_with('/'))
    throw Error(fmt::format("The vault's folder must be an absolute path, not \"{}\".", root));
  root_ = "/" + withoutSteps(root).value();
}

std::string Vault::normalized(std::string_view path) {
  const bool unusable = path.starts_with('/') || path.find('\0') != std::string_view::npos;
  auto inside = unusable ? std::nullopt : withoutSteps(path);
  if (!inside) throw VaultError::outsideVault(path);
  return std::move(*inside);
}

std::string Vault::resolve(std::string_view path) const {
  const std::string inside = normalized(path);
  if (inside.empty()) return root_;
  return root_ == "/" ? root_ + inside : root_ + "/" + inside;
}

std::string Vault::fileName(std::string_view title) {
  if (!text::isValidUtf8(title)) throw VaultError::invalidName();
  std::string spaced(title);
  for (char& c : spaced)
    if (endsName(c)) c = ' ';
  const std::string name = text::collapseWhitespace(spaced);
  if (name.empty() || name.starts_with('.')) throw VaultError::invalidName();
  return cutName(text::firstCharacters(name, longestTitle), longestName);
}

std::string Vault::cutName(std::string_view name, std::size_t bytes) {
  const std::string_view cut = text::trimWhitespace(text::firstBytes(name, bytes));
  if (cut.empty()) throw VaultError::invalidName();  // a single letter under hundreds of accents
  return std::string(cut);
}

void Vault::prepare() const {
  const FileLock held = lock();
  const Folder root = open();
  atBest([&] { removeTemporaryFiles(root, ""); });
  atBest([&] { excludeFromGit(root); });
}

VaultSnapshot Vault::scanWith(const ScanOptions& options) const {
  VaultSnapshot snapshot;
  if (auto saved = organization()) snapshot.organization = std::move(*saved);
  scanNotes(root_, options, snapshot);
  snapshot.appearance = appearance();
  return snapshot;
}

VaultSnapshot Vault::scan() const { return scanWith({.cache = parsed_.get()}); }

VaultSnapshot Vault::scanOnce(NoteFilter filter) const { return scanWith({.filter = std::move(filter)}); }

VaultSnapshot Vault::survey(SurveyOptions options) const {
  return scanWith({.takesApart = std::move(options.takesApart),
                   .keptBody = std::move(options.keptBody),
                   .keptTags = std::move(options.keptTags),
                   .readsDates = std::move(options.readsDates),
                   .readsCreationDates = options.readsCreationDates,
                   .fillsUrls = false});
}

NoteRef Vault::note(std::string_view noteID) const {
  const bool canBePath = noteID.find('\0') == std::string_view::npos && withoutSteps(noteID) == noteID;
  return canBePath ? scanNote(root_, noteID, organization().value_or(Organization::para())) : nullptr;
}

std::vector<FolderSummary> Vault::folders() const {
  return scanFolders(root_, organization().value_or(Organization::para()));
}

std::vector<FileSummary> Vault::files(std::string_view ending) const { return scanFiles(root_, ending); }

}  // namespace vesk
