#include "app/CurrentVault.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"

namespace vesk::app {

namespace fs = std::filesystem;

namespace {

// For the user alone, like all that is kept in it.
void makeSupportDirectory(const std::string& directory) {
  std::error_code failure;
  if (fs::create_directories(directory, failure)) fs::permissions(directory, fs::perms::owner_all, failure);
  if (failure) throw FileError("create the folder", directory, failure.value());
}

}  // namespace

AIAccess currentAccess() { return AIAccess::load(environment::supportDirectory()); }

AIAccess changeAccess(const std::function<void(AIAccess&)>& change) {
  const std::string directory = environment::supportDirectory();
  makeSupportDirectory(directory);
  const FileLock lock(directory);
  AIAccess access = AIAccess::load(directory);
  change(access);
  access.save(directory);
  return access;
}

Vault currentVault() {
  const auto path = currentAccess().vaultPath;
  if (!path) throw Error("No vault is open in Vesk. Open one with vesk open FOLDER.");
  std::error_code failure;
  const fs::file_status status = fs::status(*path, failure);
  if (status.type() == fs::file_type::not_found)
    throw Error(fmt::format("The vault {} is gone. Open another with vesk open FOLDER.", *path));
  return Vault(*path);
}

std::string describe(const std::optional<Organization>& organization) {
  if (!organization) return "no method chosen, read as para";
  std::vector<std::string> folders;
  for (const Organization::Place& place : organization->places) folders.push_back(place.folder);
  return fmt::format("{}: {}", name(organization->method), text::join(folders, ", "));
}

}  // namespace vesk::app
