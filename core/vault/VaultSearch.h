#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/vault/Vault.h"

namespace vesk {

// A note that holds the words that were looked for.
struct SearchHit {
  std::string id = {};
  bool inTitle = false;  // else in the body or in a tag
  Timestamp modified = distantPast;
  bool operator==(const SearchHit&) const = default;
};

// What VaultSnapshot::search would find in a scan of the vault, in its order, without making a snapshot: a note is
// taken apart only where the words stand in its text or in its file's name. (A tag that only comes about when inline
// code is taken out, "#no`x`te", is not found.)
std::vector<SearchHit> searchVault(const Vault& vault, std::string_view query);

// Whether a note may have that name, as its file's or as its title, or link to one that has, regardless of case.
bool mayMean(const NoteFile& file, std::string_view name);

// The ids of the notes that are wanted, the most recently edited first, then in scan order. `isWanted` is asked from
// several threads at once.
std::vector<std::string> newestNotes(const Vault& vault, const NoteFilter& isWanted);

// What VaultSnapshot::tags would say of a scan.
std::vector<TagCount> countTags(const Vault& vault);

}  // namespace vesk
