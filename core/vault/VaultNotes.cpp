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

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

}  // namespace

std::string Vault::named(std::string_view name, std::string_view ending) {
  return cutName(name, longestName - ending.size()).append(ending);
}

bool Vault::exists(std::string_view path) const {
  return at(path, [](const Folder& root, const std::string& inside) { return root.exists(inside); });
}

std::string Vault::read(std::string_view noteID) const {
  return at(noteID, [](const Folder& root, const std::string& path) { return root.read(path); });
}

TextChange Vault::rewrite(std::string_view path, const std::function<std::string(const std::string&)>& change) const {
  const FileLock held = lock();
  return at(path, [&](const Folder& root, const std::string& inside) {
    TextChange made;
    made.before = root.read(inside);
    made.after = change(made.before);
    if (made.after != made.before) root.replaceFile(inside, made.after);
    return made;
  });
}

bool Vault::createFile(std::string_view path, std::string_view text) const {
  ensureFolder(parentPath(normalized(path)));
  const FileLock held = lock();
  return at(path, [&](const Folder& root, const std::string& inside) { return root.createFile(inside, text); });
}

std::string Vault::noteText(std::string_view body, const std::vector<std::string>& tags) {
  MarkdownFile file(body);
  std::vector<std::string> all = file.frontmatterTags();
  all.insert(all.end(), tags.begin(), tags.end());
  file.setTags(all);
  return file.serialized();
}

std::string Vault::filePath(std::string_view title, std::string_view folder, std::string_view ending, int number) {
  const std::string numbered = number == 1 ? std::string(ending) : fmt::format(" {}{}", number, ending);
  return joinPath(normalized(folder), named(fileName(title), numbered));
}

std::string Vault::noteID(std::string_view title, std::string_view folder, int number) {
  const std::string_view trimmed = text::trimWhitespace(title);
  return filePath(trimmed.empty() ? "Untitled" : trimmed, folder, noteEnding, number);
}

std::string Vault::nextNoteID(std::string_view title, std::string_view folder) const {
  return at(folder, [&](const Folder& root, const std::string&) {
    for (int number = 1;; ++number) {
      std::string id = noteID(title, folder, number);
      if (lastComponent(id) != assistantRulesFile && !root.exists(id)) return id;  // the rules are no note
    }
  });
}

std::string Vault::createNote(std::string_view title, std::string_view body, const std::vector<std::string>& tags,
                              std::string_view folder) const {
  const std::string content = noteText(body, tags);
  while (true) {
    std::string id = nextNoteID(title, folder);
    if (createFile(id, content)) return id;  // else another was faster
  }
}

std::string Vault::save(std::string_view noteID, std::string_view body, const std::vector<std::string>& tags,
                        std::optional<std::string_view> expecting) const {
  return rewrite(noteID,
                 [&](const std::string& text) {
                   if (expecting && text != *expecting) throw VaultError::conflict();
                   MarkdownFile file(text);
                   file.body = body;
                   file.setTags(tags);
                   return file.serialized();
                 })
      .after;
}

std::string Vault::appended(std::string_view text, std::string_view more) {
  const bool onNewLine = text.empty() || text.ends_with('\n');
  return fmt::format("{}{}{}", text, onNewLine ? "" : text::lineBreak(text), more);
}

TextChange Vault::append(std::string_view text, std::string_view noteID) const {
  return rewrite(noteID, [&](const std::string& before) { return appended(before, text); });
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

std::size_t Vault::renameTag(std::string_view oldTag, std::string_view newTag, const VaultSnapshot& snapshot,
                             const std::function<void(const NoteRef&, const TextChange&)>& onChange) const {
  const TagRename renaming(oldTag, newTag);
  std::size_t changed = 0;
  for (const NoteRef& note : snapshot.notes) {
    if (!renaming.concerns(note->tags)) continue;
    try {
      const TextChange change = rewrite(note->id, [&](const std::string& text) { return renaming.appliedTo(text); });
      if (change.before == change.after) continue;
      ++changed;
      if (onChange) onChange(note, change);
    } catch (const FileError& error) {
      if (!error.isMissing()) throw;  // a note that has gone meanwhile carries no tag
    }
  }
  return changed;
}

std::string Vault::filledTemplate(std::string_view noteTemplate, std::string_view name,
                                  std::chrono::year_month_day day) {
  const std::string dated = replaceAll(std::string(noteTemplate), "{{date}}", time::isoDay(day));
  return replaceAll(dated, "{{title}}", name);
}

std::string Vault::journalNote(std::string_view name, std::string_view folder, std::string_view noteTemplate,
                               std::chrono::year_month_day day) const {
  std::string id = noteID(name, folder);
  if (lastComponent(id) == assistantRulesFile) throw VaultError::invalidName();
  createFile(id, filledTemplate(noteTemplate, fileName(name), day));  // one that is there already is the daily note
  return id;
}

}  // namespace vesk
