#include "core/insights/NearestNames.h"

#include <algorithm>
#include <cstdint>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Folder.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

constexpr std::size_t shortestName = 4;  // below, anything is near to everything

// Names are compared by a hash that is quickly had of a name and of every name with one character less.
using Hash = std::uint64_t;
constexpr Hash base = 0x9e3779b97f4a7c15;

// What counts of a name: its letters and digits, in lower case.
std::vector<Hash> lettersOf(std::string_view name) {
  const std::string key = text::key(name);
  std::vector<Hash> letters;
  letters.reserve(key.size());
  for (std::size_t position = 0; position < key.size();) {
    const auto [c, length] = unicode::decode(key, position);
    if (unicode::isWord(c) && c != '_') letters.push_back(c + 1);
    position += length;
  }
  return letters;
}

// The hash of the letters, then those of all but one of them.
std::vector<Hash> hashesAround(const std::vector<Hash>& letters) {
  std::vector<Hash> beginnings{0};
  for (const Hash letter : letters) beginnings.push_back(beginnings.back() * base + letter);
  std::vector<Hash> hashes{beginnings.back()};
  Hash ending = 0;
  Hash shift = 1;
  for (std::size_t i = letters.size(); i-- > 0;) {
    hashes.push_back(beginnings[i] * shift + ending);
    ending += letters[i] * shift;
    shift *= base;
  }
  return hashes;
}

// The names that are looked for, by the hashes under which they may be found.
class Wanted {
 public:
  using Found = std::unordered_map<std::string_view, std::string>;

  void add(Hash hash, std::string_view name) { names_.emplace(hash, name); }

  // Answers what is wanted under that hash with the name of a note; no later note is an answer to it.
  void give(Hash hash, std::string_view existing, Found& found) {
    const auto [begin, end] = names_.equal_range(hash);
    for (auto entry = begin; entry != end; ++entry) found.try_emplace(entry->second, existing);
    names_.erase(begin, end);
  }

 private:
  std::unordered_multimap<Hash, std::string_view> names_;
};

// The numbers of letters that a name near to one of those wanted can have: as many, or one more or less.
class NearLengths {
 public:
  void add(std::size_t length) {
    if (lengths_.size() < length + 2) lengths_.resize(length + 2);
    for (const std::size_t near : {length - 1, length, length + 1}) lengths_[near] = true;
  }

  bool has(std::size_t length) const { return length < lengths_.size() && lengths_[length]; }

 private:
  std::vector<bool> lengths_;
};

// The names that notes go by.
std::vector<std::string_view> namesOf(const VaultSnapshot& snapshot) {
  std::vector<std::string_view> names;
  for (const NoteRef& note : snapshot.notes) {
    names.push_back(note->fileName());
    if (note->title != names.back()) names.push_back(note->title);
  }
  return names;
}

}  // namespace

std::unordered_map<std::string_view, std::string> nearestNames(const std::vector<std::string_view>& names,
                                                               const VaultSnapshot& snapshot, std::size_t most) {
  Wanted::Found found;
  Wanted same;
  Wanted near;
  NearLengths lengths;
  for (std::size_t i = 0; i < std::min(names.size(), most); ++i) {
    const auto letters = lettersOf(lastComponent(names[i]));
    if (letters.size() < shortestName) continue;
    lengths.add(letters.size());
    const auto hashes = hashesAround(letters);
    same.add(hashes.front(), names[i]);
    for (const Hash hash : hashes) near.add(hash, names[i]);
  }
  if (names.empty()) return found;
  const auto existing = namesOf(snapshot);
  std::vector<std::vector<Hash>> hashes(existing.size());  // none of a name that can't be near
  inParallel(existing.size(), [&](std::size_t i) {
    const auto letters = lettersOf(existing[i]);
    if (lengths.has(letters.size())) hashes[i] = hashesAround(letters);
  });
  for (std::size_t i = 0; i < existing.size(); ++i)
    if (!hashes[i].empty()) same.give(hashes[i].front(), existing[i], found);
  for (std::size_t i = 0; i < existing.size(); ++i)
    for (const Hash hash : hashes[i]) near.give(hash, existing[i], found);
  return found;
}

}  // namespace vesk
