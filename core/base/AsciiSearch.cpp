#include "core/base/AsciiSearch.h"

#include <algorithm>
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

unsigned char foldsToAscii(unsigned char first, unsigned char second, unsigned char third) {
  const bool sharpS = (first == 0xC3) & (second == 0x9F);                            // U+00DF
  const bool latin = (first == 0xC5) & ((second == 0x89) | (second == 0xBF));        // U+0149, U+017F
  const bool greek = (first == 0xCD) & (second == 0xBE);                             // U+037E
  const bool extended = (first == 0xE1) & (((second == 0xBA) & ((third == 0x9A) | (third == 0x9E))) |  // U+1E9A, U+1E9E
                                           ((second == 0xBF) & (third == 0xAF)));    // U+1FEF
  const bool kelvin = (first == 0xE2) & (second == 0x84) & (third == 0xAA);          // U+212A
  const bool ligature = (first == 0xEF) & (second == 0xAC) & (third <= 0x86);        // U+FB00 … U+FB06
  return static_cast<unsigned char>(sharpS | latin | greek | extended | kelvin | ligature);
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

bool AsciiSearch::mayBeginIn(const char* places) const {
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

bool mayFoldToAscii(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t at = 0;
  for (; at + block + 2 <= text.size(); at += block) {
    if (ascii::prefixLength(text.substr(at, block)) == block) continue;
    unsigned char found = 0;
    for (std::size_t i = at; i < at + block; ++i) found |= foldsToAscii(bytes[i], bytes[i + 1], bytes[i + 2]);
    if (found) return true;
  }
  for (; at + 1 < text.size(); ++at)
    if (foldsToAscii(bytes[at], bytes[at + 1], at + 2 < text.size() ? bytes[at + 2] : 0)) return true;
  return false;
}

}  // namespace vesk::text
