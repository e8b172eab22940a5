#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/vault/Bucket.h"
#include "core/vault/Vault.h"

// Where in a vault something new goes. None of these folders need be there yet.
namespace vesk {

// The names of the folders at the vault's top, hidden ones left out, in the order a file browser shows them.
std::vector<std::string> topLevelFolders(const Vault& vault);

// The top-level folder of that role, see Organization::folder().
std::optional<std::string> placeFolder(const Vault& vault, Bucket role);

// Where notes wait to be filed.
std::string inboxFolder(const Vault& vault);

// Where the daily notes lie, each named for its day: "Journal", among the areas or, in a vault that has no place for
// them, among the resources or in the inbox.
std::string journalFolder(const Vault& vault);

}  // namespace vesk
