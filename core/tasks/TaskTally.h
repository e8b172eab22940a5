#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "core/vault/VaultScan.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// What a vault's task lines add up to. Saved chats are left out, as they quote other people's lists.
class TaskTally {
 public:
  // For a survey to add the notes to while it reads them: none needs to be taken apart for it, nor its body be held.
  TaskTally() = default;

  // Of a snapshot that holds the bodies.
  explicit TaskTally(const VaultSnapshot& snapshot);

  // May be called from several threads at once; nothing else may.
  void add(const NoteFile& file);

  // Tasks that have a text.
  struct Counts {
    std::size_t open = 0;
    std::size_t done = 0;
  };

  // Those of the notes directly in a folder.
  Counts in(std::string_view folder) const;

  // As VaultSnapshot::taskNoteNames().
  const std::set<std::string>& noteNames() const { return noteNames_; }

 private:
  struct Found;

  static Found findIn(std::string_view body, Bucket bucket);
  void put(std::string_view folder, Found found);

  std::mutex mutex_;
  std::map<std::string, Counts, std::less<>> folders_;
  std::set<std::string> noteNames_;
};

// For a survey: adds every note to the tally, which must outlive it, and takes apart those only that wait to be filed.
// That is enough for VaultSnapshot::unsorted().
NoteFilter tallyingFilter(TaskTally& tasks);

}  // namespace vesk
