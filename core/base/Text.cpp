#include "core/base/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/coll.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include "core/base/Ascii.h"
#include "core/base/Icu.h"
#include "core/base/Unicode.h"

namespace vesk::text {
namespace {

constexpr std::size_t utf8Block = 256;

// Whether what may follow a byte, or where it may stand at all, is told by more than the number of bytes it announces.
constexpr unsigned char isParticular(unsigned char byte) { return (byte == 0xE0) | (byte == 0xED) | (byte >= 0xF0); }

// Non-zero when one of the block of bytes at `bytes` can't stand where it does, going by the three before it (the rules
// of The Unicode Standard, table 3-7). One formula for every byte, so that the compiler makes vector instructions of
// it.
__attribute__((target_clones("arch=skylake-avx512", "avx2", "default"))) unsigned char faultsAmongAll(
    const unsigned char* bytes) {
  unsigned char faults = 0;
  for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(utf8Block); ++i) {
    const unsigned char byte = bytes[i];
    const unsigned char last = bytes[i - 1];
    const unsigned char second = bytes[i - 2];
    const unsigned char third = bytes[i - 3];
    const bool continues = (byte & 0xC0) == 0x80;
    const bool isDue = (last >= 0xC0) | (second >= 0xE0) | (third >= 0xF0);
    const bool neverStands = (byte == 0xC0) | (byte == 0xC1) | (byte >= 0xF5);
    const bool overlong = ((last == 0xE0) & (byte < 0xA0)) | ((last == 0xF0) & (byte < 0x90));
    const bool surrogate = (last == 0xED) & (byte >= 0xA0);
    const bool beyond = (last == 0xF4) & (byte >= 0x90);
    faults |= static_cast<unsigned char>((continues != isDue) | neverStands | overlong | surrogate | beyond);
  }
  return faults;
}

// The same. Most blocks are ASCII, or hold none of the particular bytes, and need less of the formula.
__attribute__((target_clones("arch=skylake-avx512", "avx2", "default"))) unsigned char faultsIn(
    const unsigned char* bytes) {
  unsigned char all = 0;
  for (std::ptrdiff_t i = -3; i < static_cast<std::ptrdiff_t>(utf8Block); ++i) all |= bytes[i];
  if (all < 0x80) return 0;
  unsigned char particular = isParticular(bytes[-1]) | isParticular(bytes[-2]) | isParticular(bytes[-3]);
  unsigned char faults = 0;
  for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(utf8Block); ++i) {
    const unsigned char byte = bytes[i];
    const bool continues = (byte & 0xC0) == 0x80;
    const bool isDue = (bytes[i - 1] >= 0xC0) | (bytes[i - 2] >= 0xE0);
    particular |= isParticular(byte);
    faults |= static_cast<unsigned char>((continues != isDue) | ((byte & 0xFE) == 0xC0));
  }
  return particular ? faultsAmongAll(bytes) : faults;
}

// The first bytes of U+0085 and U+00A0, U+1680, U+2000 to U+205F, and U+3000 are those that count beyond ASCII.
bool mayBeginWhitespace(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= ' ' || byte == 0xC2 || (byte >= 0xE1 && byte <= 0xE3);
}

bool equalAsciiIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return ascii::lower(x) == ascii::lower(y); });
}

// What can be seen without making keys: most texts that are compared end in other letters.
bool mustDiffer(std::string_view a, std::string_view b) {
  if (a.empty() || b.empty()) return a.size() != b.size();
  // No key takes over three times the bytes of its text, nor does a text over that of its NFC form.
  constexpr std::size_t growth = 9;
  if (a.size() > growth * b.size() || b.size() > growth * a.size()) return true;
  // Nothing that follows a last letter could change it.
  return ascii::isAscii(a.back()) && ascii::isAscii(b.back()) && ascii::lower(a.back()) != ascii::lower(b.back());
}

// The lower case of the letters of the Latin, Greek and Cyrillic scripts up to U+052F, and of what else stands among
// them: 0 where the neighbours of a character may matter, or its lower case takes more or fewer bytes.
using LowerCase = std::array<char16_t, 0x530>;

LowerCase makeLowerCase() {
  constexpr char16_t twoBytes = 0x80;  // the first character that takes so many
  constexpr char16_t threeBytes = 0x800;
  LowerCase table{};
  for (std::size_t i = 1; i < table.size(); ++i) {
    const auto c = static_cast<char16_t>(i);
    const bool isComposed = u_getIntPropertyValue(c, UCHAR_NFC_QUICK_CHECK) == UNORM_YES && u_getCombiningClass(c) == 0;
    const UChar32 lower = u_tolower(c);
    const bool keepsLength = (c < twoBytes) == (lower < twoBytes) && lower < threeBytes;
    // U+0130 becomes two characters, and a sigma another one at the end of a word.
    if (isComposed && keepsLength && c != 0x130 && c != 0x3A3) table[c] = static_cast<char16_t>(lower);
  }
  return table;
}

// Kana, Chinese characters, Hangul syllables, dashes and quotation marks: nothing changes them in a key.
bool hasNoCase(char32_t c) {
  return (c >= 0x4E00 && c <= 0x9FFF) || (c >= 0x3041 && c <= 0x3096) || (c >= 0x30A1 && c <= 0x30FF) ||
         (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0x2010 && c <= 0x2027);
}

// The key of a text in which each character stands for itself, as nearly all do; nullopt for any other text.
std::optional<std::string> plainKey(std::string_view text) {
  static const LowerCase lowerCase = makeLowerCase();
  std::string key(text);
  for (std::size_t position = 0; position < text.size();) {
    const auto [c, length] = unicode::decode(text, position);
    if (c < lowerCase.size()) {
      const char16_t lower = lowerCase[c];
      if (lower == 0) return std::nullopt;
      if (length == 2) key[position] = static_cast<char>(0xC0 | lower >> 6);
      key[position + length - 1] = static_cast<char>(length == 2 ? 0x80 | (lower & 0x3F) : lower);
    } else if (!hasNoCase(c)) {
      return std::nullopt;
    }
    position += length;
  }
  return key;
}

// The places of the printable ASCII characters in the root collation; 0 for every other byte. Capitals stand where
// their small letters do.
constexpr std::array<std::uint8_t, 256> collationPlaces = [] {
  constexpr std::string_view order = " _-,;:!?.'\"()[]{}@*/\\&#%`^+<=>|~$0123456789abcdefghijklmnopqrstuvwxyz";
  std::array<std::uint8_t, 256> places{};
  for (std::size_t i = 0; i < order.size(); ++i) {
    places[static_cast<unsigned char>(order[i])] = static_cast<std::uint8_t>(i + 1);
  }
  for (std::size_t c = 'A'; c <= 'Z'; ++c) places[c] = places[c - 'A' + 'a'];
  return places;
}();

int collationPlace(char c) { return collationPlaces[static_cast<unsigned char>(c)]; }

bool isPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// Takes the digits that `rest` starts with off it.
std::string_view takeDigits(std::string_view& rest) {
  const auto end = std::find_if_not(rest.begin(), rest.end(), ascii::isDigit);
  const std::string_view digits = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  rest.remove_prefix(digits.size());
  return digits;
}

int compareValues(std::string_view a, std::string_view b) {
  a.remove_prefix(std::min(a.find_first_not_of('0'), a.size()));
  b.remove_prefix(std::min(b.find_first_not_of('0'), b.size()));
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

// What the collator says of two names of printable ASCII. Nullopt at a number so long that the collator takes it for
// several.
std::optional<int> collateAscii(std::string_view a, std::string_view b) {
  constexpr std::size_t longestNumber = 254;
  while (!a.empty() && !b.empty()) {
    if (ascii::isDigit(a.front()) && ascii::isDigit(b.front())) {
      const std::string_view x = takeDigits(a);
      const std::string_view y = takeDigits(b);
      if (std::max(x.size(), y.size()) > longestNumber) return std::nullopt;
      if (const int order = compareValues(x, y); order != 0) return order;
      continue;
    }
    const int order = collationPlace(a.front()) - collationPlace(b.front());
    if (order != 0) return order;
    a.remove_prefix(1);
    b.remove_prefix(1);
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

std::unique_ptr<const icu::Collator> openCollator() {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getRoot(), status));
  icuCalls::require(status);
  collator->setStrength(icu::Collator::SECONDARY);  // accents count, case doesn't
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  icuCalls::require(status);
  return collator;
}

int collate(std::string_view a, std::string_view b) {
  static const std::unique_ptr<const icu::Collator> collator = openCollator();
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult order = collator->compareUTF8(icuCalls::piece(a), icuCalls::piece(b), status);
  icuCalls::require(status);
  return order;
}

bool isCrLf(std::string_view text, std::size_t position) { return text.substr(position, 2) == "\r\n"; }

using BreakIterator = std::unique_ptr<icu::BreakIterator>;

BreakIterator openBreakIterator(icu::BreakIterator* (*create)(const icu::Locale& locale, UErrorCode& status)) {
  UErrorCode status = U_ZERO_ERROR;
  BreakIterator iterator(create(icu::Locale::getRoot(), status));
  icuCalls::require(status);
  return iterator;
}

// One like `original`, on a text.
BreakIterator breakIterator(const icu::BreakIterator& original, std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUTextPointer bytes(utext_openUTF8(nullptr, text.data(), icuCalls::length(text), &status));
  icuCalls::require(status);
  BreakIterator iterator(original.clone());
  iterator->setText(bytes.getAlias(), status);  // which copies what it needs of `bytes`
  icuCalls::require(status);
  return iterator;
}

// The characters of a text. Between two ASCII characters the answer is known; ICU is asked of the other places only.
class Characters {
 public:
  explicit Characters(std::string_view text) : text_(text) {}

  // The end of the character that starts at `start` (< the text's size).
  std::size_t endOf(std::size_t start) {
    if (isCrLf(text_, start)) return start + 2;
    const std::size_t end = start + (isPlainPair(text_[start]) ? 2 : 1);
    if (end <= text_.size() && isPlainBoundary(end)) return end;
    return static_cast<std::size_t>(iterator().following(static_cast<std::int32_t>(start)));
  }

  // The last boundary that isn't after `limit` (<= the text's size).
  std::size_t lastBoundary(std::size_t limit) {
    if (isPlainBoundary(limit)) return limit;
    while (limit > 0 && (text_[limit] & 0xC0) == 0x80) --limit;
    const auto offset = static_cast<std::int32_t>(limit);
    if (iterator().isBoundary(offset)) return limit;
    return static_cast<std::size_t>(iterator().preceding(offset));
  }

 private:
  // The first byte of a character from U+0080 to U+02FF or from U+0380 to U+047F, of two bytes: Latin, Greek and
  // Cyrillic letters, and none that joins another.
  static bool isPlainPair(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return (value >= 0xC2 && value <= 0xCB) || (value >= 0xCE && value <= 0xD1);
  }

  bool isPlainBoundary(std::size_t position) const {
    if (position == 0 || position == text_.size()) return true;
    const bool endsPlain = ascii::isAscii(text_[position - 1]) ? !isCrLf(text_, position - 1)
                                                               : position > 1 && isPlainPair(text_[position - 2]);
    return endsPlain && (ascii::isAscii(text_[position]) || isPlainPair(text_[position]));
  }

  icu::BreakIterator& iterator() {
    if (!iterator_) open();
    return *iterator_;
  }

  void open() {
    static const BreakIterator original = openBreakIterator(icu::BreakIterator::createCharacterInstance);
    iterator_ = breakIterator(*original, text_);
  }

  std::string_view text_;
  BreakIterator iterator_;
};

// The UTF-16 code units that a byte stands for: one for a character's first byte, two where a pair is needed.
std::size_t unitsOf(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return static_cast<std::size_t>((value & 0xC0) != 0x80) + static_cast<std::size_t>(value >= 0xF0);
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  if (text.size() < utf8Block && isAscii(text)) return true;  // names
  // The first bytes have no three before them: they are checked behind three that are well-formed.
  constexpr std::size_t before = 3;
  std::array<unsigned char, before + utf8Block> padded{};
  std::size_t position = std::min(text.size(), utf8Block);
  std::copy_n(text.begin(), position, padded.begin() + before);
  if (faultsIn(padded.data() + before) != 0) return false;
  if (position < utf8Block) return true;  // zeros stood behind it
  for (; text.size() - position >= utf8Block; position += utf8Block) {
    const char* const block = text.data() + position;
    if (faultsIn(reinterpret_cast<const unsigned char*>(block)) != 0) return false;
  }
  // The rest, with zeros behind it that a sequence left open does not go on in.
  padded.fill(0);
  const std::size_t rest = text.size() - position;
  const std::size_t known = std::min(position, before);
  std::copy_n(text.end() - static_cast<std::ptrdiff_t>(rest + known), rest + known, padded.begin() + (before - known));
  return faultsIn(padded.data() + before) == 0;
}

std::string wellFormed(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  constexpr std::string_view replacement = "\uFFFD";
  std::string result;
  result.reserve(text.size() + replacement.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto [value, length] = unicode::decode(text, at);
    result += value == U'\uFFFD' ? replacement : text.substr(at, length);
    at += length;
  }
  return result;
}

bool isAscii(std::string_view text) { return ascii::prefixLength(text) == text.size(); }

std::string key(std::string_view text) {
  std::string lowered;
  if (isAscii(text)) {
    lowered.resize(text.size());
    std::transform(text.begin(), text.end(), lowered.begin(), ascii::lower);
    return lowered;
  }
  if (auto plain = plainKey(text)) return std::move(*plain);
  UErrorCode status = U_ZERO_ERROR;
  icu::StringByteSink<std::string> sink(&lowered);
  icu::CaseMap::utf8ToLower("", 0, icuCalls::piece(nfc(text)), sink, nullptr, status);
  icuCalls::require(status);
  return lowered;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (mustDiffer(a, b)) return false;
  if (isAscii(a) && isAscii(b)) return equalAsciiIgnoringCase(a, b);
  return key(a) == key(b);
}

std::string nfc(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  std::string normalized;
  UErrorCode status = U_ZERO_ERROR;
  icu::StringByteSink<std::string> sink(&normalized, icuCalls::length(text));
  icuCalls::nfc().normalizeUTF8(0, icuCalls::piece(text), sink, nullptr, status);
  icuCalls::require(status);
  return normalized;
}

int compareNames(std::string_view a, std::string_view b) {
  std::optional<int> order;
  if (isPrintableAscii(a) && isPrintableAscii(b)) order = collateAscii(a, b);
  if (!order) order = collate(a, b);
  return *order != 0 ? *order : a.compare(b);
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  Characters characters(text);
  std::size_t end = 0;
  for (; count > 0 && end < text.size(); --count) end = characters.endOf(end);
  return text.substr(0, end);
}

std::size_t characterCount(std::string_view text) {
  Characters characters(text);
  std::size_t count = 0;
  for (std::size_t end = 0; end < text.size(); ++count) end = characters.endOf(end);
  return count;
}

std::vector<std::size_t> lineEnds(std::string_view text) {
  static const BreakIterator original = openBreakIterator(icu::BreakIterator::createLineInstance);
  std::vector<std::size_t> ends;
  if (text.empty()) return ends;
  const BreakIterator iterator = breakIterator(*original, text);
  for (std::int32_t end = iterator->next(); end != icu::BreakIterator::DONE; end = iterator->next())
    ends.push_back(static_cast<std::size_t>(end));
  return ends;
}

std::string_view firstBytes(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  return text.substr(0, Characters(text).lastBoundary(bytes));
}

std::string_view firstUnits(std::string_view text, std::size_t units) {
  if (text.size() <= units) return text;  // no character takes more units than bytes
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t needed = unitsOf(text[i]);
    if (needed > units) return firstBytes(text, i);
    units -= needed;
  }
  return text;
}

std::size_t unitCount(std::string_view text) {
  std::size_t count = 0;
  for (const char byte : text) count += unitsOf(byte);
  return count;
}

std::string_view trim(std::string_view text, std::string_view characters) {
  const std::size_t first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

std::string_view trimSpaces(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

std::string_view trimWhitespace(std::string_view text) {
  while (!text.empty()) {
    const unicode::CodePoint first = unicode::decode(text, 0);
    if (!unicode::isWhitespace(first.value)) break;
    text.remove_prefix(first.length);
  }
  while (!text.empty()) {
    const unicode::CodePoint last = unicode::decodeBefore(text, text.size());
    if (!unicode::isWhitespace(last.value)) break;
    text.remove_suffix(last.length);
  }
  return text;
}

std::string collapseWhitespace(std::string_view text) {
  std::string collapsed;
  collapsed.reserve(text.size());
  const auto addWord = [&](std::string_view word) {
    if (word.empty()) return;
    if (!collapsed.empty()) collapsed += ' ';
    collapsed += word;
  };
  std::size_t begin = 0;
  for (std::size_t position = 0; position < text.size();) {
    if (!mayBeginWhitespace(text[position])) {  // what most bytes do
      ++position;
      continue;
    }
    const unicode::CodePoint c = unicode::decode(text, position);
    position += c.length;
    if (!unicode::isWhitespace(c.value)) continue;
    addWord(text.substr(begin, position - c.length - begin));
    begin = position;
  }
  addWord(text.substr(begin));
  return collapsed;
}

std::string_view lineBreak(std::string_view text) {
  const std::size_t end = text.find('\n');
  return end != std::string_view::npos && end > 0 && text[end - 1] == '\r' ? "\r\n" : "\n";
}

std::string withLineBreaks(std::string_view text, std::string_view lineBreak) {
  std::string result;
  for (std::size_t begin = 0;;) {
    const std::size_t end = text.find('\n', begin);
    if (end == std::string_view::npos) return result.append(text.substr(begin));
    const bool isPair = end > begin && text[end - 1] == '\r';
    result.append(text.substr(begin, end - begin - (isPair ? 1 : 0))).append(lineBreak);
    begin = end + 1;
  }
}

bool contains(std::string_view text, std::string_view words) {
  // The fastest for a few letters takes, at worst, the product of both lengths.
  constexpr std::size_t few = 64;
  if (words.size() <= few) return text.find(words) != std::string_view::npos;
  return ::memmem(text.data(), text.size(), words.data(), words.size()) != nullptr;
}

std::size_t occurrences(std::string_view text, std::string_view words) {
  // memmem is linear; std::string_view::find is not.
  const auto next = [&](std::size_t from) {
    const void* found = ::memmem(text.data() + from, text.size() - from, words.data(), words.size());
    return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : std::string_view::npos;
  };
  std::size_t count = 0;
  std::size_t last = 0;
  for (std::size_t at = next(0); at != std::string_view::npos; at = next(at + words.size())) {
    ++count;
    last = at;
  }
  const bool overlaps = count == 1 && next(last + 1) != std::string_view::npos;
  return overlaps ? 2 : count;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
    pieces.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  pieces.push_back(text);
  return pieces;
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string joined;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) joined += separator;
    joined += pieces[i];
  }
  return joined;
}

}  // namespace vesk::text
