// Notes: made, written, renamed and moved.

#include <cerrno>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/TagRename.h"
#include "core/vault/Vault.h"

namespace vesk {

namespace {

constexpr std::string_view noteEnding = ".md";

// A body may bring front matter of its own; the tags join those in it.
std::string textOf(std::string_view body, const std::vector<std::string>& tags) {
  MarkdownFile file(body);
  std::vector<std::string> all = file.frontmatterTags();
  all.insert(all.end(), tags.begin(), tags.end());
  file.setTags(all);
  return file.serialized();
}

std::string lineBreakOf(std::string_view text) { return text.find("\r\n") < text.find('\n') ? "\r\n" : "\n"; }

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

}  // namespace

std::string Vault::named(std::string_view name, std::string_view ending) {
  return cutName(name, longestName - ending.size()).append(ending);
}

std::string Vault::read(std::string_view noteID) const {
  return at(noteID, [](const Folder& root, const std::string& path) { return root.read(path); });
}

std::string Vault::rewrite(std::string_view path, const std::function<std::string(const std::string&)>& change) const {
  const FileLock held = lock();
  return at(path, [&](const Folder& root, const std::string& inside) {
    const std::string before = root.read(inside);
    std::string after = change(before);
    if (after != before) root.replaceFile(inside, after);
    return after;
  });
}

std::string Vault::createNote(std::string_view title, std::string_view body, const std::vector<std::string>& tags,
                              std::string_view folder) const {
  const std::string_view trimmed = text::trimWhitespace(title);
  const std::string name = fileName(trimmed.empty() ? "Untitled" : trimmed);
  const std::string content = textOf(body, tags);
  ensureFolder(folder);
  const FileLock held = lock();
  return at(folder, [&](const Folder& root, const std::string& inside) {
    for (int number = 1;; ++number) {
      const std::string ending = number == 1 ? std::string(noteEnding) : fmt::format(" {}{}", number, noteEnding);
      std::string id = joinPath(inside, named(name, ending));
      const bool isFree = lastComponent(id) != assistantRulesFile;  // which is no note
      if (isFree && root.createFile(id, content)) return id;
    }
  });
}

std::string Vault::save(std::string_view noteID, std::string_view body, const std::vector<std::string>& tags,
                        std::optional<std::string_view> expecting) const {
  return rewrite(noteID, [&](const std::string& text) {
    if (expecting && text != *expecting) throw VaultError::conflict();
    MarkdownFile file(text);
    file.body = body;
    file.setTags(tags);
    return file.serialized();
  });
}

std::string Vault::append(std::string_view text, std::string_view noteID) const {
  return rewrite(noteID, [&](const std::string& before) {
    const bool onNewLine = before.empty() || before.ends_with('\n');
    return before + (onNewLine ? "" : lineBreakOf(before)) + std::string(text);
  });
}

void Vault::removeAppended(std::string_view text, std::string_view noteID) const {
  rewrite(noteID, [&](const std::string& before) {
    if (!before.ends_with(text)) throw VaultError::changedSince();
    return before.substr(0, before.size() - text.size());
  });
}

void Vault::restoreText(std::string_view text, std::string_view expecting, std::string_view path) const {
  rewrite(path, [&](const std::string& before) {
    if (before != expecting) throw VaultError::changedSince();
    return std::string(text);
  });
}

std::string Vault::rename(std::string_view noteID, std::string_view title) const {
  std::string id = joinPath(parentPath(normalized(noteID)), named(fileName(title), noteEnding));
  if (lastComponent(id) == assistantRulesFile) throw VaultError::invalidName();  // it would be no note any more
  movePath(noteID, id);
  return id;
}

std::string Vault::move(std::string_view noteID, std::string_view folder) const {
  const std::string from = normalized(noteID);
  std::string id = joinPath(normalized(folder), lastComponent(from));
  movePath(from, id);
  return id;
}

void Vault::movePath(std::string_view from, std::string_view to) const {
  const std::string source = normalized(from);
  const std::string destination = normalized(to);
  if (source.empty() || destination.starts_with(source + "/")) throw VaultError::invalidMove();
  at(from, [&](const Folder& root, const std::string& path) {
    if (!root.exists(path)) throw FileError("move", from, ENOENT);
  });
  if (source == destination) return;
  ensureFolder(parentPath(destination));
  const FileLock held = lock();
  at(to, [&](const Folder& root, const std::string& path) {
    try {
      root.move(source, path);
    } catch (const FileError& error) {
      if (error.code() == EEXIST) throw VaultError::nameTaken();
      throw;
    }
  });
}

std::size_t Vault::renameTag(std::string_view oldTag, std::string_view newTag, const VaultSnapshot& snapshot) const {
  const TagRename renaming(oldTag, newTag);
  std::size_t changed = 0;
  for (const NoteRef& note : snapshot.notes) {
    if (!renaming.concerns(note->tags)) continue;
    try {
      rewrite(note->id, [&](const std::string& text) {
        std::string renamed = renaming.appliedTo(text);
        if (renamed != text) ++changed;
        return renamed;
      });
    } catch (const FileError& error) {
      if (!error.isMissing()) throw;  // a note that has gone meanwhile carries no tag
    }
  }
  return changed;
}

std::string Vault::journalNote(std::string_view name, std::string_view folder, std::string_view noteTemplate,
                               std::chrono::year_month_day day) const {
  const std::string file = fileName(name);
  if (file + std::string(noteEnding) == assistantRulesFile) throw VaultError::invalidName();
  const std::string dated = replaceAll(std::string(noteTemplate), "{{date}}", time::isoDay(day));
  const std::string content = replaceAll(dated, "{{title}}", file);
  ensureFolder(folder);
  const FileLock held = lock();
  return at(folder, [&](const Folder& root, const std::string& inside) {
    std::string id = joinPath(inside, named(file, noteEnding));
    root.createFile(id, content);  // a note that is there already is the daily note
    return id;
  });
}

}  // namespace vesk
