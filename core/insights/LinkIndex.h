#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/insights/NotesByName.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// Where the wiki links of a vault lead. Made once for a snapshot, which must outlive it; may be asked by several
// threads at once.
//
// A link means the note whose file name, with or without folders before it, is its target; else the one of that title.
// Case does not count, unless a note's name is written exactly like the target.
class LinkIndex {
 public:
  explicit LinkIndex(const VaultSnapshot& snapshot);

  // What a link's target says. Notes are told by their number in the snapshot.
  struct Destination {
    bool exists = false;                    // there is a note that may be meant
    std::optional<std::size_t> note = {};   // the one that is; nullopt without one, or with several
    std::optional<std::size_t> named = {};  // a note of its file name, whatever folders stand before it
  };
  Destination destination(std::string_view target) const;

  // The first note of a note's file name. Notes for which it is the same have the same backlinks: a link counts for all
  // that are named like the one that it has `named`.
  std::size_t firstNamedLike(std::size_t note) const { return firsts_[note]; }

 private:
  using Meaning = NotesByName::Meaning;

  void addEndings(std::size_t note);
  std::string_view path(std::size_t note) const;
  static Destination destinationOf(const Meaning& meaning, std::optional<std::size_t> named);
  Destination foldedDestination(const std::string& key) const;

  const std::vector<NoteRef>& notes_;
  std::vector<std::size_t> firsts_;                   // of each note, the first of that file name
  NotesByName writtenNames_;                          // behind their folders
  NotesByName fileNames_;                             // as keys
  NotesByName titles_;                                // likewise
  std::unordered_map<std::string, Meaning> endings_;  // of paths, as keys, where several notes have the file name
};

}  // namespace vesk
