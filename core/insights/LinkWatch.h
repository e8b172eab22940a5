#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/vault/Vault.h"

namespace vesk {

// A wiki link that leads to no note, or to none in particular.
struct LostLink {
  std::string notePath = {};  // of the note that it stands in
  std::string target = {};
  bool operator==(const LostLink&) const = default;
};

// Watches the links of other notes to a note or to the notes of a folder, while these are renamed, moved or taken away.
class LinkWatch {
 public:
  // Made before the change. `path` is the note's or the folder's.
  LinkWatch(const Vault& vault, std::string path);

  // After the change: the links that led there, and lead to none of the vault's notes any more. `newPath` is where the
  // note or the folder is now; empty when it is gone. By path.
  std::vector<LostLink> lost(std::string_view newPath) const;

 private:
  VaultSnapshot look() const;
  bool isBelow(std::string_view notePath) const;
  std::string pathAfter(const std::string& notePath, std::string_view newPath) const;

  const Vault& vault_;
  std::string path_;
  std::vector<std::string> names_ = {};  // of the note; empty for a folder
  std::vector<LostLink> watched_ = {};
};

}  // namespace vesk
