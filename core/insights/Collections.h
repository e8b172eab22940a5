#pragma once

#include <vector>

#include "core/vault/Bucket.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// The collections of a role, such as the projects: the folders directly in the places that have it, in the order of the
// tree. They are the snapshot's, which must outlive them. None where the vault has no such place.
std::vector<const FolderNode*> collectionFolders(const VaultSnapshot& snapshot, Bucket role);

}  // namespace vesk
