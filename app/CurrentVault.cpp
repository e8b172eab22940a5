#include "app/CurrentVault.h"

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace fs = std::filesystem;

AIAccess currentAccess() { return AIAccess::load(environment::supportDirectory()); }

// The broken file is put aside when it is written anew, but what the user had set must not change behind their back.
void warnOfUnreadable(const std::string& directory, std::string_view fileName) {
  if (supportFile::read(directory, fileName) || !Folder::open(directory).exists(fileName)) return;
  fmt::print(stderr, "vesk: {}/{} can't be read. It is kept beside a new one, in which all is as at first.\n",
             safe(directory), fileName);
}

AIAccess changeAccess(const std::function<void(AIAccess&)>& change) {
  const std::string directory = environment::supportDirectory();
  makePrivateFolder(directory);
  const FileLock lock(directory);
  warnOfUnreadable(directory, AIAccess::fileName);
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

std::string folderNamed(const Vault& vault, std::string_view typed) {
  std::string_view path = typed;
  while (path.ends_with('/')) path.remove_suffix(1);
  for (FolderSummary& folder : vault.folders())
    if (folder.path == path) return std::move(folder.path);
  throw Error(fmt::format("There is no folder {} in the vault.", typed));
}

std::string describe(const std::optional<Organization>& organization) {
  if (!organization) return "no method chosen, read as para";
  std::vector<std::string> folders;
  for (const Organization::Place& place : organization->places) folders.push_back(place.folder);
  return fmt::format("{}: {}", name(organization->method), text::join(folders, ", "));
}

}  // namespace vesk::app
