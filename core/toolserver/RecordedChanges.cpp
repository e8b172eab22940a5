#include "core/toolserver/RecordedChanges.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "core/base/Uuid.h"
#include "core/mail/MailJson.h"
#include "core/platform/Folder.h"
#include "core/toolserver/MailUndo.h"
#include "core/toolserver/Undo.h"
#include "core/vault/VaultError.h"

namespace vesk {

using Kind = AIAction::Kind;

namespace {

bool isLogged(const AIActionLog& log, const MailDraft& draft) {
  const std::string id = Json(draft.id).compact();
  const auto actions = log.recent(std::numeric_limits<std::ptrdiff_t>::max());
  return std::ranges::any_of(actions, [&](const AIAction& action) {
    return action.kind == Kind::draftEmail && action.after && action.after->find(id) != std::string::npos;
  });
}

}  // namespace

TextChange RecordedChanges::rewrite(const std::string& path, const Edit& edit) {
  const Proposal* seen = approved_ && approved_->notePath == path && approved_->before ? approved_ : nullptr;
  return texts_[path] = vault_.rewrite(path, [&](const std::string& text) {
    if (seen && text != *seen->before) throw VaultError::conflict();
    std::string after = edit(text);
    if (seen && seen->after && after != *seen->after) throw VaultError::conflict();
    return after;
  });
}

TextChange RecordedChanges::edit(const std::string& path, std::string_view title, const Edit& edit) {
  TextChange change = rewrite(path, edit);
  recordEdit(path, title, change);
  return change;
}

void RecordedChanges::recordEdit(const std::string& path, std::string_view title, const TextChange& change) {
  if (change.before == change.after) return;
  texts_[path] = change;
  record({.kind = Kind::edit,
          .title = std::string(title),
          .noteID = path,
          .before = change.before,
          .after = change.after});
}

TextChange RecordedChanges::append(const std::string& path, std::string_view title, const Edit& edit) {
  TextChange change = rewrite(path, edit);
  record({.kind = Kind::append,
          .title = std::string(title),
          .noteID = path,
          .appended = change.after.substr(change.before.size())});
  return change;
}

std::string RecordedChanges::createNote(std::string_view title, std::string_view body,
                                        const std::vector<std::string>& tags, std::string_view folder) {
  ensureFolder(folder);
  std::string noteID = vault_.createNote(title, body, tags, folder);
  record(
      {.kind = Kind::createNote, .title = std::string(title), .noteID = noteID, .after = Vault::noteText(body, tags)});
  return noteID;
}

bool RecordedChanges::createFile(const std::string& path, std::string_view title, std::string_view text) {
  ensureFolder(parentPath(path));
  if (!vault_.createFile(path, text)) return false;
  record({.kind = Kind::createNote, .title = std::string(title), .noteID = path, .after = std::string(text)});
  return true;
}

std::string RecordedChanges::createFolder(std::string_view name, std::string_view parent) {
  ensureFolder(parent);
  std::string path = vault_.createFolder(name, parent);
  record({.kind = Kind::createFolder, .title = std::string(lastComponent(path)), .noteID = path});
  return path;
}

// One action for each folder made: each can be undone by itself.
void RecordedChanges::ensureFolder(std::string_view path) {
  for (const std::string& made : vault_.ensureFolder(path))
    record({.kind = Kind::createFolder, .title = std::string(lastComponent(made)), .noteID = made});
}

std::string RecordedChanges::moveNote(const Note& note, std::string_view folder) {
  ensureFolder(folder);
  std::string moved = vault_.move(note.id, folder);
  if (moved == note.id) return moved;
  record({.kind = Kind::file,
          .title = note.title,
          .noteID = moved,
          .fromFolder = std::string(note.folderPath()),
          .toFolder = std::string(folder)});
  return moved;
}

std::string RecordedChanges::renameNote(const Note& note, std::string_view title) {
  std::string renamed = vault_.rename(note.id, title);
  if (renamed == note.id) return renamed;
  record({.kind = Kind::rename, .title = note.title, .noteID = renamed, .fromFolder = note.id, .toFolder = renamed});
  return renamed;
}

std::string RecordedChanges::renameFolder(std::string_view path, std::string_view name) {
  std::string renamed = vault_.renameFolder(path, name);
  if (renamed == path) return renamed;
  record({.kind = Kind::rename,
          .title = std::string(lastComponent(path)),
          .noteID = renamed,
          .fromFolder = std::string(path),
          .toFolder = renamed});
  return renamed;
}

std::string RecordedChanges::moveFolder(std::string_view path, std::string_view parent) {
  ensureFolder(parent);
  std::string moved = vault_.moveFolder(path, parent);
  if (moved == path) return moved;
  record({.kind = Kind::moveFolder,
          .title = std::string(lastComponent(path)),
          .noteID = moved,
          .fromFolder = std::string(path),
          .toFolder = moved});
  return moved;
}

void RecordedChanges::renameFile(const std::string& path, std::string_view title, const std::string& renamed) {
  vault_.movePath(path, renamed);
  record(
      {.kind = Kind::rename, .title = std::string(title), .noteID = renamed, .fromFolder = path, .toFolder = renamed});
}

void RecordedChanges::trash(const std::string& path, std::string_view title) {
  logTrash(title, path, vault_.trash(path));
}

std::size_t RecordedChanges::renameTag(std::string_view oldTag, std::string_view newTag,
                                       const VaultSnapshot& snapshot) {
  return vault_.renameTag(oldTag, newTag, snapshot, [&](const NoteRef& note, const TextChange& change) {
    recordEdit(note->id, note->title, change);
  });
}

void RecordedChanges::recordSync(std::string_view title) { record({.kind = Kind::sync, .title = std::string(title)}); }

void RecordedChanges::draftEmail(MailStore& store, const MailDraft& draft, std::string_view title) {
  AIAction action{.kind = Kind::draftEmail, .title = std::string(title), .after = toJson(draft).compact()};
  if (store.add(draft)) return record(std::move(action));
  if (isLogged(log_, draft)) return;
  action.id = newUuid();
  action.date = now_;
  log_.append(action);  // whoever saved it was stopped before this; it is never taken back here, as the user may use it
}

bool RecordedChanges::updateEmail(MailStore& store, const MailSummary& mail, const std::vector<MailChange>& changes,
                                  std::string_view title) {
  if (!store.change(mail, changes)) return false;
  const MailState before = stateOf(mail);
  record({.kind = Kind::updateEmail,
          .title = std::string(title),
          .before = toText(before),
          .after = toText(changed(before, changes))});
  return true;
}

void RecordedChanges::logTrash(std::string_view title, std::string_view path, std::string landed) {
  record(
      {.kind = Kind::trash, .title = std::string(title), .noteID = std::string(path), .trashedTo = std::move(landed)});
}

void RecordedChanges::takeBack(const AIAction& action, const Error& failure) const {
  try {
    undo::run(action, vault_, log_.directory());
  } catch (const Error&) {
    throw Error(fmt::format("This was done, but can't be undone in Vesk: {}", failure.what()));
  }
}

void RecordedChanges::takeBackLast() {
  if (last_) log_.takeBack(*last_, vault_);
  last_.reset();
}

void RecordedChanges::record(AIAction action) {
  action.id = newUuid();
  action.date = now_;
  if (!action.isOfMail()) action.vaultPath = vault_.root();
  try {
    log_.append(action);
  } catch (const Error& failure) {
    takeBack(action, failure);
    throw;
  }
  last_ = std::move(action);
}

}  // namespace vesk
