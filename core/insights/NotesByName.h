#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// Which notes go by a name. A hash table whose entries, and the texts they are compared with, lie side by side, as most
// of the time that following a vault's links takes would go into waiting for memory.
class NotesByName {
 public:
  struct Meaning {
    std::size_t note = 0;  // the first, of several
    bool isOnly = true;
    std::string_view path = {};  // its name, and what stands before it; until something is added
  };

  explicit NotesByName(std::size_t mostNames) : entries_(std::bit_ceil(mostNames + mostNames / 4 + 1)) {}

  // The name is one of that note; what stands `before` it is only kept. Gives the first note that has the name. The
  // texts may take 4 GiB together.
  std::size_t add(std::string_view name, std::size_t note, std::string_view before = {}) {
    const std::size_t hash = std::hash<std::string_view>{}(name);
    Entry& entry = entries_[placeOf(name, hash)];
    if (!entry.isFree) {
      entry.isOnly = false;
      return entry.note;
    }
    entry = {.hash = highOf(hash), .note = static_cast<std::uint32_t>(note), .begin = end(), .isFree = false};
    texts_ += before;
    entry.nameBegin = end();
    texts_ += name;
    entry.end = end();
    return note;
  }

  // Nullopt when no note has the name.
  std::optional<Meaning> find(std::string_view name) const {
    const Entry& entry = entries_[placeOf(name, std::hash<std::string_view>{}(name))];
    if (entry.isFree) return std::nullopt;
    return Meaning{entry.note, entry.isOnly, textOf(entry.begin, entry.end)};
  }

 private:
  struct Entry {
    std::uint32_t hash = 0;  // the half that doesn't say where the entry is
    std::uint32_t note = 0;
    std::uint32_t begin = 0;  // of its text, in texts_
    std::uint32_t nameBegin = 0;
    std::uint32_t end = 0;
    bool isFree = true;
    bool isOnly = true;
  };

  // Where the name is, or belongs.
  std::size_t placeOf(std::string_view name, std::size_t hash) const {
    const std::size_t last = entries_.size() - 1;
    std::size_t place = hash & last;
    while (!entries_[place].isFree && !isNamed(entries_[place], name, highOf(hash))) place = (place + 1) & last;
    return place;
  }

  bool isNamed(const Entry& entry, std::string_view name, std::uint32_t hash) const {
    return entry.hash == hash && textOf(entry.nameBegin, entry.end) == name;
  }

  static std::uint32_t highOf(std::size_t hash) { return static_cast<std::uint32_t>(std::uint64_t{hash} >> 32); }
  std::uint32_t end() const { return static_cast<std::uint32_t>(texts_.size()); }
  std::string_view textOf(std::uint32_t begin, std::uint32_t end) const {
    return std::string_view(texts_).substr(begin, end - begin);
  }

  std::vector<Entry> entries_;  // a power of two, some of them always free
  std::string texts_ = {};
};

}  // namespace vesk
