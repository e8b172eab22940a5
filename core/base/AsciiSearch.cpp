#include "core/base/AsciiSearch.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/base/Ascii.h"

namespace vesk::text {

namespace {

// Looked at together: the loops over a block have no branches, so that the compiler makes vector instructions of them.
constexpr std::size_t block = 64;

// How rare a byte is in ordinary text: the letters of English, the most frequent first, then everything else.
std::size_t rarity(char c) {
  constexpr std::string_view frequent = " etaoinsrhldcumfpgwybvkxjqz";
  return std::min(frequent.find(c), frequent.size());
}

// All there are in Unicode 15 whose folding does not end in a combining mark, which no occurrence ends before.
constexpr std::array<AsciiFolding, 15> foldings = {{
    {"\u00DF", "ss"},
    {"\u0149", "n"},  // behind U+02BC
    {"\u017F", "s"},
    {"\u037E", ";"},
    {"\u1E9A", "a"},  // before U+02BE
    {"\u1E9E", "ss"},
    {"\u1FEF", "`"},
    {"\u212A", "k"},
    {"\uFB00", "ff"},
    {"\uFB01", "fi"},
    {"\uFB02", "fl"},
    {"\uFB03", "ffi"},
    {"\uFB04", "ffl"},
    {"\uFB05", "st"},
    {"\uFB06", "st"},
}};

// True when `letters` may stand within an occurrence of `words`, or reach into its beginning or its end.
bool mayOverlap(std::string_view letters, std::string_view words) {
  if (words.find(letters) != std::string_view::npos || letters.find(words) != std::string_view::npos) return true;
  for (std::size_t length = 1; length < letters.size(); ++length)
    if (words.starts_with(letters.substr(letters.size() - length)) || words.ends_with(letters.substr(0, length)))
      return true;
  return false;
}

}  // namespace

AsciiSearch::Anchor AsciiSearch::anchorAt(std::string_view words, std::size_t offset) {
  const char c = words[offset];
  return {offset, static_cast<unsigned char>(c), static_cast<unsigned char>(c >= 'a' && c <= 'z' ? 0x20 : 0)};
}

AsciiSearch::AsciiSearch(std::string_view words) : words_(words) {
  std::size_t rarest = 0;
  std::size_t second = words.size() - 1;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (rarity(words[i]) > rarity(words[rarest])) {
      second = rarest;
      rarest = i;
    } else if (i != rarest && rarity(words[i]) > rarity(words[second])) {
      second = i;
    }
  }
  rarest_ = anchorAt(words, rarest);
  second_ = anchorAt(words, second);
}

bool AsciiSearch::occursAt(const char* place) const {
  return std::equal(words_.begin(), words_.end(), place, [](char a, char b) { return a == ascii::lower(b); });
}

__attribute__((target_clones("avx2", "default"))) bool AsciiSearch::mayBeginIn(const char* places) const {
  // Copies, for the compiler to see that nothing changes them.
  const Anchor rarest = rarest_;
  const Anchor second = second_;
  unsigned char found = 0;
  for (std::size_t i = 0; i < block; ++i)
    found |= static_cast<unsigned char>(rarest.matches(places + i) & second.matches(places + i));
  return found != 0;
}

std::size_t AsciiSearch::find(std::string_view text, std::size_t from) const {
  if (text.size() < words_.size()) return std::string_view::npos;
  const std::size_t places = text.size() - words_.size() + 1;
  while (from < places) {
    const char* const at = text.data() + from;
    const std::size_t count = std::min(block, places - from);
    if (count == block && !mayBeginIn(at)) {
      from += block;
      continue;
    }
    for (std::size_t i = 0; i < count; ++i)
      if (rarest_.matches(at + i) && occursAt(at + i)) return from + i;
    from += count;
  }
  return std::string_view::npos;
}

std::vector<AsciiFolding> foldingsWithin(std::string_view words) {
  std::vector<AsciiFolding> found;
  for (const AsciiFolding& folding : foldings)
    if (mayOverlap(folding.letters, words)) found.push_back(folding);
  return found;
}

bool contains(std::string_view text, const AsciiFolding& folding) {
  const char last = folding.bytes.back();
  const char lead = folding.bytes[folding.bytes.size() - 2];
  const char* const bytes = text.data();
  std::size_t at = 0;
  for (; at + block + 1 <= text.size(); at += block) {
    unsigned char found = 0;
    for (std::size_t i = at; i < at + block; ++i)
      found |= static_cast<unsigned char>((bytes[i] == lead) & (bytes[i + 1] == last));
    if (found && text.substr(at > 0 ? at - 1 : 0, block + 2).find(folding.bytes) != std::string_view::npos) return true;
  }
  return text.substr(at > 0 ? at - 1 : 0).find(folding.bytes) != std::string_view::npos;
}

}  // namespace vesk::text
