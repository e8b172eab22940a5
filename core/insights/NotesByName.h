#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// Which notes go by a name. A hash table whose entries, and the names they are compared with, lie side by side, as most
// of the time that following a vault's links takes would go into waiting for memory.
class NotesByName {
 public:
  struct Meaning {
    std::uint32_t note = 0;  // the first, of several
    bool isOnly = true;
  };

  explicit NotesByName(std::size_t mostNames) : entries_(std::bit_ceil(mostNames + mostNames / 4 + 1)) {}

  // The name is one of that note. Gives the first note that has it. The names may take 4 GiB together.
  std::size_t add(std::string_view name, std::size_t note) {
    const std::size_t hash = std::hash<std::string_view>{}(name);
    Entry& entry = entries_[placeOf(name, hash)];
    if (entry.isFree) {
      entry = {hash,
               static_cast<std::uint32_t>(names_.size()),
               static_cast<std::uint32_t>(name.size()),
               false,
               {static_cast<std::uint32_t>(note)}};
      names_ += name;
    } else {
      entry.meaning.isOnly = false;
    }
    return entry.meaning.note;
  }

  // Nullptr when no note has the name.
  const Meaning* find(std::string_view name) const {
    const Entry& entry = entries_[placeOf(name, std::hash<std::string_view>{}(name))];
    return entry.isFree ? nullptr : &entry.meaning;
  }

 private:
  struct Entry {
    std::size_t hash = 0;
    std::uint32_t begin = 0;  // of the name, in names_
    std::uint32_t size = 0;
    bool isFree = true;
    Meaning meaning = {};
  };

  // Where the name is, or belongs.
  std::size_t placeOf(std::string_view name, std::size_t hash) const {
    const std::size_t last = entries_.size() - 1;
    std::size_t place = hash & last;
    while (!entries_[place].isFree && (entries_[place].hash != hash || nameOf(entries_[place]) != name))
      place = (place + 1) & last;
    return place;
  }

  std::string_view nameOf(const Entry& entry) const { return {names_.data() + entry.begin, entry.size}; }

  std::vector<Entry> entries_;  // a power of two, some of them always free
  std::string names_ = {};
};

}  // namespace vesk
