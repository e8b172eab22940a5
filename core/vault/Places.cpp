#include "core/vault/Places.h"

#include <utility>

#include "core/base/Text.h"
#include "core/platform/Folder.h"

namespace vesk {

std::optional<std::string> placeFolder(const Vault& vault, Bucket role) {
  const Organization organization = vault.organization().value_or(Organization::para());
  const Organization::Place* place = organization.place(role);
  if (!place) return std::nullopt;
  for (FolderEntry& entry : Folder::open(vault.root()).entries())
    if (entry.kind == FileKind::folder && text::equalIgnoringCase(entry.name, place->folder))
      return std::move(entry.name);
  return place->folder;
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
