#pragma once

#include <cstddef>
#include <cstdint>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/vault/Note.h"

namespace vesk {

// The notes of earlier scans, by absolute path: one whose file has not changed is not read again. Shared by the copies
// of a Vault, and safe to use from several threads; the lock is held only to look up or to put in.
//
// A file that was changed within one tick of the file system's clock (some milliseconds) and kept its size is taken for
// unchanged.
class ParsedNotes {
 public:
  // What tells that a file is the one that was read.
  struct Stamp {
    Timestamp modified = distantPast;
    std::uint64_t size = 0;
    bool operator==(const Stamp&) const = default;
  };

  struct Entry {
    Stamp stamp = {};
    NoteRef note = {};
  };

  // What was read of that path last, and under which stamp; no note when nothing was.
  Entry find(std::string_view path) const;
  void put(const NoteRef& note, const Stamp& stamp);
  // Forgets every note but these, the ones a scan has just found.
  void keepOnly(const std::vector<NoteRef>& notes);

 private:
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::string_view, Entry> entries_;  // keys are the paths that their notes hold
};

}  // namespace vesk
