#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace vesk {

// Which notes go by a name. A hash table whose entries lie side by side, as most of the time that following a vault's
// links takes would go into waiting for memory at the ends of std::unordered_map's pointers.
class NotesByName {
 public:
  struct Meaning {
    std::uint32_t note = 0;  // the first, of several
    bool isOnly = true;
  };

  explicit NotesByName(std::size_t mostNames) : entries_(std::bit_ceil(mostNames + mostNames / 4 + 1)) {}

  // The name, part of a string that must outlive this, is one of that note. Gives the first note that has it.
  std::size_t add(std::string_view name, std::size_t note) {
    const std::size_t hash = std::hash<std::string_view>{}(name);
    Entry& entry = entries_[placeOf(name, hash)];
    if (entry.isFree()) {
      entry = {hash, name, {static_cast<std::uint32_t>(note)}};
    } else {
      entry.meaning.isOnly = false;
    }
    return entry.meaning.note;
  }

  // Nullptr when no note has the name.
  const Meaning* find(std::string_view name) const {
    const Entry& entry = entries_[placeOf(name, std::hash<std::string_view>{}(name))];
    return entry.isFree() ? nullptr : &entry.meaning;
  }

 private:
  struct Entry {
    std::size_t hash = 0;
    std::string_view name = {};
    Meaning meaning = {};

    bool isFree() const { return name.data() == nullptr; }
  };

  // Where the name is, or belongs.
  std::size_t placeOf(std::string_view name, std::size_t hash) const {
    const std::size_t last = entries_.size() - 1;
    std::size_t place = hash & last;
    while (!entries_[place].isFree() && (entries_[place].hash != hash || entries_[place].name != name))
      place = (place + 1) & last;
    return place;
  }

  std::vector<Entry> entries_;  // a power of two, some of them always free
};

}  // namespace vesk
