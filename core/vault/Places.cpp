#include "core/vault/Places.h"

#include <algorithm>
#include <utility>

#include "core/base/Text.h"
#include "core/platform/Folder.h"

namespace vesk {

std::vector<std::string> topLevelFolders(const Vault& vault) {
  std::vector<std::string> names;
  for (FolderEntry& entry : Folder::open(vault.root()).entries())
    if (entry.kind == FileKind::folder && !entry.name.starts_with('.')) names.push_back(std::move(entry.name));
  std::sort(names.begin(), names.end(),
            [](const std::string& a, const std::string& b) { return text::compareNames(a, b) < 0; });
  return names;
}

std::optional<std::string> placeFolder(const Vault& vault, Bucket role) {
  return vault.organization().value_or(Organization::para()).folder(role, topLevelFolders(vault));
}

std::string inboxFolder(const Vault& vault) {
  return placeFolder(vault, Bucket::inbox).value_or(std::string(bucket::name(Bucket::inbox)));
}

std::string journalFolder(const Vault& vault) {
  constexpr std::string_view journal = "Journal";
  for (const Bucket role : {Bucket::areas, Bucket::resources})
    if (const auto place = placeFolder(vault, role)) return joinPath(*place, journal);
  return joinPath(inboxFolder(vault), journal);
}

}  // namespace vesk
