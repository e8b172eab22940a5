#include "core/sync/ICloudDrive.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/platform/NoReplace.h"
#include "core/vault/Vault.h"

namespace fs = std::filesystem;

namespace vesk {

namespace {

// The folder itself where a link leads to it, as that is what is to move.
std::string realPath(std::string_view path) {
  std::error_code failure;
  const fs::path real = fs::canonical(path, failure);
  if (failure) throw FileError("move", path, failure.value());
  return real.string();
}

}  // namespace

std::string ICloudDrive::folder() const { return home_ + "/Library/Mobile Documents/com~apple~CloudDocs"; }

std::string ICloudDrive::documents() const { return home_ + "/Documents"; }

bool ICloudDrive::isAvailable() const {
  std::error_code unknown;
  return fs::is_directory(folder(), unknown);
}

bool ICloudDrive::contains(std::string_view path) const {
  std::error_code unknown;
  const fs::path kept = fs::weakly_canonical(home_ + "/Library/Mobile Documents", unknown);
  const fs::path inside = fs::weakly_canonical(path, unknown).lexically_relative(kept);
  return !inside.empty() && inside != "." && *inside.begin() != "..";
}

std::string ICloudDrive::move(std::string_view vault, std::string_view intoFolder) {
  const std::string from = realPath(vault);
  std::string to = joinPath(intoFolder, lastComponent(from));
  const FileLock held(from);
  if (renameNoReplace(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str()) == 0) return to;
  switch (errno) {
    case EEXIST: throw VaultError::nameTaken();
    case EINVAL: throw VaultError::invalidMove();
    case EXDEV:
      throw Error(
          fmt::format("{} and {} are on different disks, so the vault can't be moved in one step. Move the "
                      "folder by hand, then open it there.",
                      from, intoFolder));
    default: throw FileError("move", from, errno);
  }
}

std::string ICloudDrive::moveIn(const GitSync& vault) const {
  if (!isAvailable()) throw Error("Turn on iCloud Drive in System Settings first.");
  if (!vault.isRepository()) return move(vault.root(), folder());
  const std::string inTrash = vault.removeRepository();
  try {
    return move(vault.root(), folder());
  } catch (...) {
    Vault(vault.root()).restore(inTrash, ".git");
    throw;
  }
}

}  // namespace vesk
