#include "core/toolserver/Undo.h"

#include <fmt/format.h>

#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "core/platform/Trash.h"
#include "core/toolserver/MailUndo.h"
#include "core/vault/VaultError.h"

namespace vesk::undo {

namespace {

using Kind = AIAction::Kind;
using Obstacle = std::optional<std::string>;

const std::string& known(const std::optional<std::string>& value) {
  static const std::string nothing;
  return value ? *value : nothing;
}

// ---- What is looked at

std::optional<std::string> textAt(const Vault& vault, const std::optional<std::string>& path) {
  try {
    return vault.read(known(path));
  } catch (const Error&) {
    return std::nullopt;
  }
}

Obstacle textObstacle(const Vault& vault, const AIAction& action, std::string_view what,
                      bool (*fits)(const std::string& text, const AIAction&)) {
  if (action.kind == Kind::append && known(action.appended).empty()) return "The log doesn't say what was added.";
  const auto text = textAt(vault, action.noteID);
  if (!text) return fmt::format("{} can't be found any more.", known(action.noteID));
  if (!fits(*text, action)) return fmt::format("{} {}", known(action.noteID), what);
  return std::nullopt;
}

Obstacle moveObstacle(const Vault& vault, const std::string& from, const std::string& to) {
  if (from.empty() || to.empty()) return "The log doesn't say where it was.";
  if (!vault.exists(from)) return fmt::format("{} isn't there any more.", from);
  if (vault.exists(to)) return fmt::format("Something else is at {} now.", to);
  return std::nullopt;
}

Obstacle trashObstacle(const Vault& vault, const AIAction& action) {
  if (!trash::holds(known(action.trashedTo), vault.resolve(known(action.noteID))))
    return "It isn't in the Trash any more.";
  if (vault.exists(known(action.noteID))) return fmt::format("Something else is at {} now.", known(action.noteID));
  return std::nullopt;
}

Obstacle folderObstacle(const Vault& vault, const std::string& path) {
  try {
    if (!Folder::open(vault.root()).openFolder(path).isEmptyBut(folderBrowserFile))
      return fmt::format("{} isn't empty any more.", path);
  } catch (const FileError&) {
    return fmt::format("{} isn't there any more.", path);
  }
  return std::nullopt;
}

std::string formerPath(const AIAction& action) {
  return joinPath(known(action.fromFolder), lastComponent(known(action.noteID)));
}

Obstacle vaultObstacle(const AIAction& action, const Vault& vault) {
  if (!action.vaultPath || *action.vaultPath == vault.root()) return std::nullopt;
  return fmt::format("It was done in another vault, {}. Open that one to undo it.", *action.vaultPath);
}

Obstacle itemObstacle(const AIAction& action, const Vault& vault) {
  switch (action.kind) {
    case Kind::file: return moveObstacle(vault, known(action.noteID), formerPath(action));
    case Kind::rename:
    case Kind::moveFolder: return moveObstacle(vault, known(action.toFolder), known(action.fromFolder));
    case Kind::createNote:
    case Kind::edit:
      return textObstacle(vault, action, "was changed since.",
                          [](const std::string& text, const AIAction& done) { return text == known(done.after); });
    case Kind::append:
      return textObstacle(
          vault, action, "doesn't end any more with what was added.",
          [](const std::string& text, const AIAction& done) { return text.ends_with(known(done.appended)); });
    case Kind::createFolder: return folderObstacle(vault, known(action.noteID));
    case Kind::trash: return trashObstacle(vault, action);
    default: return "It changed nothing that could be undone.";
  }
}

// ---- What is done

void reverse(const AIAction& action, const Vault& vault) {
  switch (action.kind) {
    case Kind::file: return vault.movePath(known(action.noteID), formerPath(action));
    case Kind::rename:
    case Kind::moveFolder: return vault.movePath(known(action.toFolder), known(action.fromFolder));
    case Kind::createNote: vault.moveToTrash(known(action.noteID)); return;
    case Kind::createFolder: vault.moveEmptyFolderToTrash(known(action.noteID)); return;
    case Kind::append: return vault.removeAppended(known(action.appended), known(action.noteID));
    case Kind::edit: return vault.restoreText(known(action.before), known(action.after), known(action.noteID));
    case Kind::trash: return vault.restore(known(action.trashedTo), known(action.noteID));
    default: throw VaultError::changedSince();
  }
}

}  // namespace

std::optional<std::string> obstacle(const AIAction& action, const Vault& vault, const std::string& directory) {
  if (action.isUndone) return "It was undone already.";
  if (auto other = vaultObstacle(action, vault)) return other;
  try {
    return action.isOfMail() ? mailUndo::obstacle(action, directory) : itemObstacle(action, vault);
  } catch (const Error& error) {
    return error.what();  // a path that leads out of the vault, or a mail database that can't be used
  }
}

std::string description(const AIAction& action) {
  const std::string& item = known(action.noteID);
  switch (action.kind) {
    case Kind::file: return fmt::format("Moves {} back to {}.", item, formerPath(action));
    case Kind::rename:
    case Kind::moveFolder: return fmt::format("Moves {} back to {}.", known(action.toFolder), known(action.fromFolder));
    case Kind::createNote:
      return fmt::format("Moves the new {} {} to the Trash.", isNoteName(item) ? "note" : "diagram", item);
    case Kind::createFolder: return fmt::format("Moves the new folder {} to the Trash.", item);
    case Kind::append: return fmt::format("Takes what was added off the end of {}.", item);
    case Kind::edit: return fmt::format("Gives {} back the text it had.", item);
    case Kind::trash: return fmt::format("Restores {} from the Trash.", item);
    case Kind::draftEmail:
    case Kind::updateEmail: return mailUndo::description(action);
    default: return "Nothing can be undone.";
  }
}

void run(const AIAction& action, const Vault& vault, const std::string& directory) {
  if (const auto other = vaultObstacle(action, vault)) throw Error(*other);
  if (action.isOfMail() && !action.isUndone) return mailUndo::run(action, directory);
  if (obstacle(action, vault, directory)) throw VaultError::changedSince();
  try {
    reverse(action, vault);
  } catch (const VaultError&) {
    throw VaultError::changedSince();  // it changed since it was looked at
  }
}

}  // namespace vesk::undo
