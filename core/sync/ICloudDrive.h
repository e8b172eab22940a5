#pragma once

#include <string>
#include <string_view>

#include "core/sync/GitSync.h"

namespace vesk {

// The folder that a Mac keeps in iCloud. A vault is kept there or in a git repository, never both: iCloud can damage a
// repository while syncing it.
class ICloudDrive {
 public:
  static constexpr std::string_view oneAtATime =
      "Use one at a time. iCloud can damage a Git repository while syncing it.";

  // `home` is the user's home folder.
  explicit ICloudDrive(std::string home) : home_(std::move(home)) {}

  std::string folder() const;     // "Library/Mobile Documents/com~apple~CloudDocs" in the home folder
  std::string documents() const;  // where vaults go that leave iCloud Drive

  bool isAvailable() const;

  // Whether that path lies in what iCloud keeps, links resolved.
  bool contains(std::string_view path) const;

  // Moves a vault's folder into another folder; returns its new path. VaultError::nameTaken when something has its name
  // there; an Error when the two are on different disks. Nothing is copied or replaced.
  static std::string move(std::string_view vault, std::string_view intoFolder);

  // Moves a vault into iCloud Drive. One that syncs through git stops doing so: its ".git" goes to the Trash, and comes
  // back when the vault can't be moved. An Error when iCloud Drive is turned off.
  std::string moveIn(const GitSync& vault) const;

  // Moves a vault to the user's Documents.
  std::string moveOut(std::string_view vault) const { return move(vault, documents()); }

 private:
  std::string home_;
};

}  // namespace vesk
