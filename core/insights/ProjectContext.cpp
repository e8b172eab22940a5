#include "core/insights/ProjectContext.h"

#include <algorithm>
#include <functional>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/insights/Collections.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownScanner.h"

namespace vesk {

namespace {

constexpr std::string_view noteName = "Context";

using Folders = std::vector<const FolderNode*>;

Folders matching(const Folders& folders, const std::function<bool(const FolderNode&)>& matches) {
  Folders found;
  std::ranges::copy_if(folders, std::back_inserter(found), [&](const FolderNode* folder) { return matches(*folder); });
  return found;
}

}  // namespace

bool ProjectContext::isProjectContext(const Note& note) { return note.isVeskPage && note.fileName() == noteName; }

NoteRef ProjectContext::note(const FolderNode& folder) {
  NoteRef found;
  for (const NoteRef& note : folder.notes) {
    if (isProjectContext(*note)) return note;
    if (!found && note->fileName() == noteName) found = note;
  }
  return found;
}

std::string_view ProjectContext::startingText(Language language) {
  switch (language) {
    case Language::portuguese: return "## Objetivo\n\n\n## Como está\n\n\n## Decisões\n\n\n## Fontes\n\n";
    case Language::spanish: return "## Objetivo\n\n\n## Cómo va\n\n\n## Decisiones\n\n\n## Fuentes\n\n";
    case Language::english: break;
  }
  return "## Goal\n\n\n## Where it stands\n\n\n## Decisions\n\n\n## Sources\n\n";
}

std::optional<std::string> ProjectContext::summary(std::string_view text, std::size_t limit) {
  const std::string_view line = markdown::preview(text);
  if (line.empty()) return std::nullopt;
  return std::string(text::firstCharacters(line, limit));
}

std::string ProjectContext::path(std::string_view folder) { return joinPath(folder, fileName); }

std::string ProjectContext::contextText(std::string_view text) {
  MarkdownFile file;
  file.frontmatter = {"vesk: true"};
  file.body = text;
  return file.serialized();
}

void ProjectContext::writeContext(const Vault& vault, std::string_view text, std::string_view folder) {
  std::string content = contextText(text);
  if (vault.createFile(path(folder), content)) return;
  vault.rewrite(path(folder), [&](const std::string& old) {
    if (!text::isValidUtf8(old)) throw Error(fmt::format("{} isn't UTF-8 text. Rename it first.", path(folder)));
    return content;
  });
}

const FolderNode* ProjectContext::findProject(const VaultSnapshot& snapshot, std::string_view pathOrName) {
  std::string_view wanted = text::trimWhitespace(pathOrName);
  while (wanted.ends_with('/')) wanted.remove_suffix(1);
  const Folders projects = collectionFolders(snapshot, Bucket::projects);
  const std::function<bool(const FolderNode&)> rules[] = {
      [&](const FolderNode& folder) { return folder.id == wanted; },
      [&](const FolderNode& folder) { return text::equalIgnoringCase(folder.id, wanted); },
      [&](const FolderNode& folder) { return folder.name == wanted; },
      [&](const FolderNode& folder) { return text::equalIgnoringCase(folder.name, wanted); }};
  for (const auto& rule : rules) {
    const Folders found = matching(projects, rule);
    if (found.size() == 1) return found.front();
    if (found.empty()) continue;
    std::vector<std::string_view> paths;
    for (const FolderNode* folder : found) paths.push_back(folder->id);
    throw Error(fmt::format("Several projects match. Use one of these paths: {}", fmt::join(paths, ", ")));
  }
  return nullptr;
}

}  // namespace vesk
