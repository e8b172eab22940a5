// Folders, and the desktop's Trash.

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "core/platform/Trash.h"
#include "core/vault/Vault.h"

namespace vesk {

bool Vault::lists(std::string_view folder) const {
  if (folder.empty() || folder.find('\0') != std::string_view::npos) return false;
  const Folder root = open();
  try {
    for (std::size_t end = 0; end < folder.size();) {
      end = std::min(folder.find('/', end + 1), folder.size());
      const std::string_view path = folder.substr(0, end);
      const auto info = root.info(path);
      const std::string_view name = lastComponent(path);
      if (name.empty() || name.starts_with('.') || !info || info->kind != FileKind::folder) return false;
    }
    return true;
  } catch (const FileError&) {
    return false;  // it leads out of the vault, or is no path that a folder can have
  }
}

std::string Vault::createFolder(std::string_view name, std::string_view parent) const {
  std::string path = joinPath(normalized(parent), fileName(name));
  at(path, [&](const Folder& root, const std::string& inside) {
    if (root.exists(inside)) throw VaultError::nameTaken();
    root.createFolders(inside);
  });
  return path;
}

std::vector<std::string> Vault::ensureFolder(std::string_view path) const {
  return at(path, [](const Folder& root, const std::string& inside) {
    std::vector<std::string> made;
    for (std::string_view missing = inside; !missing.empty() && !root.exists(missing); missing = parentPath(missing))
      made.emplace(made.begin(), missing);
    root.createFolders(inside);
    return made;
  });
}

std::string Vault::renameFolder(std::string_view path, std::string_view name) const {
  std::string renamed = joinPath(parentPath(normalized(path)), fileName(name));
  movePath(path, renamed);
  return renamed;
}

std::string Vault::moveFolder(std::string_view path, std::string_view parent) const {
  const std::string from = normalized(path);
  const std::string into = normalized(parent);
  if (into == from || into.starts_with(from + "/")) throw VaultError::invalidMove();
  std::string moved = joinPath(into, lastComponent(from));
  movePath(from, moved);
  return moved;
}

std::string Vault::trash(std::string_view path) const {
  const FileLock held = lock();
  return trashHeld(path);
}

std::string Vault::trashHeld(std::string_view path) const {
  return at(path, [&](const Folder& root, const std::string& inside) {
    if (inside.empty()) throw VaultError::outsideVault(path);
    if (!root.exists(inside)) throw FileError("move to the Trash", path, ENOENT);
    return trash::put(resolve(inside), std::chrono::system_clock::now());
  });
}

std::string Vault::moveEmptyFolderToTrash(std::string_view path) const {
  const FileLock held = lock();
  at(path, [](const Folder& root, const std::string& inside) {
    if (!root.openFolder(inside).isEmptyBut(folderBrowserFile)) throw VaultError::changedSince();
  });
  return trashHeld(path);
}

void Vault::restore(const std::string& fromTrash, std::string_view to) const {
  if (!trash::holds(fromTrash)) throw FileError("restore", fromTrash, ENOENT);
  ensureFolder(parentPath(normalized(to)));
  const FileLock held = lock();
  at(to, [&](const Folder& root, const std::string& inside) {
    if (root.exists(inside)) throw VaultError::nameTaken();
    try {
      trash::restore(fromTrash, resolve(inside));
    } catch (const FileError& error) {
      if (error.code() == EEXIST) throw VaultError::nameTaken();
      throw;
    }
  });
}

}  // namespace vesk
