#include "core/insights/Collections.h"

namespace vesk {

std::vector<const FolderNode*> collectionFolders(const VaultSnapshot& snapshot, Bucket role) {
  std::vector<const FolderNode*> folders;
  for (const FolderNode& place : snapshot.root.folders) {
    if (place.bucket != role) continue;
    for (const FolderNode& folder : place.folders) folders.push_back(&folder);
  }
  return folders;
}

}  // namespace vesk
