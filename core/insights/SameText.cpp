#include "core/insights/SameText.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>
#include <unordered_map>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

using Members = std::vector<std::size_t>;

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

constexpr std::size_t markedLetters = 48;  // bytes of a longer text that its mark is made of

// The letters that the text's mark is made of, if it begins with so many of ASCII, and goes on so: nothing that follows
// could change the last of them.
std::optional<std::string> plainBeginning(std::string_view text) {
  std::string letters;
  letters.reserve(markedLetters);
  for (const char c : text) {
    if (!ascii::isAscii(c)) return std::nullopt;
    if (letters.size() == markedLetters) break;
    if (c > ' ' || !unicode::isWhitespace(static_cast<unsigned char>(c))) letters += ascii::lower(c);
  }
  return letters;
}

// Without white space, of which a text may hold much for long.
std::string beginning(std::string_view text) {
  if (auto plain = plainBeginning(text)) return std::move(*plain);
  for (std::size_t enough = markedLetters + markedLetters / 2;; enough *= 2) {
    const std::size_t end = nextCut(text, enough);
    std::string letters = comparable(text.substr(0, end));
    std::erase(letters, ' ');
    if (letters.size() < markedLetters && end < text.size()) continue;
    letters.resize(std::min(letters.size(), markedLetters));
    return letters;
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
SameNotes equalTexts(const std::vector<NoteRef>& notes, const Members& members, const BodyOf& textOf) {
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

TextMark textMark(std::string_view text) {
  const std::string letters = beginning(text);
  return letters.empty() ? markOfBlank : std::hash<std::string>{}(letters) | 1;
}

SameNotes sameTexts(const std::vector<NoteRef>& notes, const std::vector<TextMark>& marks, const BodyOf& bodyOf) {
  Hashes hashes;
  for (std::size_t i = 0; i < notes.size(); ++i)
    if (marks[i] != markOfBlank) hashes.emplace_back(marks[i], i);
  Members members;
  for (const Members& group : equalHashes(std::move(hashes))) members.insert(members.end(), group.begin(), group.end());
  return equalTexts(notes, members, [&](const Note& note) {
    std::string text = comparable(bodyOf(note));
    return isLong(text) ? text : std::string();
  });
}

}  // namespace vesk
