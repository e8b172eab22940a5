#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/vault/Note.h"

namespace vesk {

// The notes of the last scan: one whose file has not changed is not read again. Shared by the copies of a Vault, and
// safe to use from several threads; the lock is held only to look up or to put in.
//
// A file that was changed within one tick of the file system's clock (some milliseconds) and kept its size is taken for
// unchanged.
class ParsedNotes {
 public:
  // What tells that a file is the one that was read.
  struct Stamp {
    Timestamp modified = distantPast;
    std::uint64_t size = 0;  // bytes
    bool operator==(const Stamp&) const = default;
  };

  struct Entry {
    std::string name = {};  // of the file in its folder
    Stamp stamp = {};
    NoteRef note = {};
  };

  // A folder's notes in the order of their names, which the next scan meets them in.
  using FolderNotes = std::shared_ptr<const std::vector<Entry>>;
  struct Folder {
    Bucket bucket = Bucket::other;  // the role its notes were read under
    FolderNotes notes = {};
  };
  using Folders = std::unordered_map<std::string, Folder>;  // by absolute path

  // The folder's notes; nullptr when it was not scanned, or under another role.
  FolderNotes find(const std::string& path, Bucket bucket) const {
    const std::lock_guard lock(mutex_);
    const auto found = folders_.find(path);
    return found != folders_.end() && found->second.bucket == bucket ? found->second.notes : nullptr;
  }

  // Puts what a whole scan has found in place of what was known.
  void replace(Folders folders) {
    const std::lock_guard lock(mutex_);
    folders_.swap(folders);
  }

 private:
  mutable std::mutex mutex_;
  Folders folders_;
};

}  // namespace vesk
