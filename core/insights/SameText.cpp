#include "core/insights/SameText.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

using Members = std::vector<std::size_t>;
using TextOf = std::function<std::string(const Note& note)>;

// Where the text can be cut, from `position` on, so that what is made of the first part does not depend on the second:
// before white space, or before an ideograph, as texts in which those are written may hold no white space for long.
std::size_t nextCut(std::string_view text, std::size_t position) {
  while (position < text.size() && (text[position] & 0xC0) == 0x80) ++position;
  while (position < text.size()) {
    const auto [c, length] = unicode::decode(text, position);
    if (unicode::isWhitespace(c) || (c >= 0x4E00 && c <= 0x9FFF)) return position;
    position += length;
  }
  return text.size();
}

// The first `bytes` bytes of comparable(text), and little more work than they need.
std::string beginning(std::string_view text, std::size_t bytes) {
  for (std::size_t enough = bytes + bytes / 4;; enough *= 2) {
    const std::string_view part = text.substr(0, nextCut(text, enough));
    std::string found = comparable(part);
    if (found.size() < bytes && part.size() < text.size()) continue;
    found.resize(std::min(found.size(), bytes));
    return found;
  }
}

// A hash, and whose it is.
using Hashes = std::vector<std::pair<std::size_t, std::size_t>>;

SameNotes equalHashes(Hashes hashes) {
  std::sort(hashes.begin(), hashes.end());
  SameNotes groups;
  for (auto first = hashes.begin(); first != hashes.end();) {
    const auto last = std::find_if(first, hashes.end(), [&](const auto& entry) { return entry.first != first->first; });
    if (last - first > 1) {
      Members& group = groups.emplace_back();
      std::for_each(first, last, [&](const auto& entry) { group.push_back(entry.second); });
    }
    first = last;
  }
  return groups;
}

// The groups of those whose texts are the same, and not empty. Only texts of equal hashes are ever held together.
SameNotes equalTexts(const std::vector<NoteRef>& notes, const Members& members, const TextOf& textOf) {
  Hashes hashes(members.size());
  inParallel(members.size(), [&](std::size_t i) {
    hashes[i] = {std::hash<std::string>{}(textOf(*notes[members[i]])), members[i]};
  });
  SameNotes same;
  for (const Members& group : equalHashes(std::move(hashes))) {
    std::unordered_map<std::string, Members> byText;  // one, unless hashes met by chance
    for (const std::size_t i : group) byText[textOf(*notes[i])].push_back(i);
    for (auto& [text, equal] : byText)
      if (equal.size() > 1 && !text.empty()) same.push_back(std::move(equal));
  }
  return same;
}

Members all(const std::vector<NoteRef>& notes) {
  Members members(notes.size());
  std::iota(members.begin(), members.end(), std::size_t{0});
  return members;
}

bool isLong(std::string_view text) {
  return text.size() >= shortestText && text::characterCount(text::firstCharacters(text, shortestText)) == shortestText;
}

}  // namespace

std::string comparable(std::string_view text) { return text::key(text::collapseWhitespace(text)); }

SameNotes sameTitles(const std::vector<NoteRef>& notes) {
  return equalTexts(notes, all(notes), [](const Note& note) { return comparable(note.title); });
}

std::size_t beginningMark(std::string_view text) {
  constexpr std::size_t looked = 64;  // bytes
  return std::hash<std::string>{}(beginning(text, looked));
}

SameNotes sameTexts(const std::vector<NoteRef>& notes, const std::vector<std::size_t>& marks, const TextOf& bodyOf) {
  Hashes hashes;
  for (std::size_t i = 0; i < marks.size(); ++i) hashes.emplace_back(marks[i], i);
  Members members;
  for (const Members& group : equalHashes(std::move(hashes))) members.insert(members.end(), group.begin(), group.end());
  return equalTexts(notes, members, [&](const Note& note) {
    std::string text = comparable(bodyOf(note));
    return isLong(text) ? text : std::string();
  });
}

}  // namespace vesk
