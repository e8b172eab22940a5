#include "core/base/Unicode.h"

#include <cstdint>

#include <unicode/uchar.h>

namespace vesk::unicode {
namespace {

constexpr CodePoint illFormed{U'\uFFFD', 1};

bool isOfCategory(char32_t c, std::uint32_t categories) {
  return (U_GET_GC_MASK(static_cast<UChar32>(c)) & categories) != 0;
}

constexpr std::uint32_t wordCategories = U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK;

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The bytes that a lead byte asks for; 0 where it is none.
std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0xC2) return 0;  // a continuation byte, or the lead of an overlong form
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  return lead < 0xF5 ? 4 : 0;
}

// Overlong forms, surrogates and what lies over U+10FFFF all show in the value.
bool belongsInSequence(char32_t value, std::size_t length) {
  if (length == 3) return value >= 0x800 && (value < 0xD800 || value > 0xDFFF);
  return length == 2 || (value >= 0x10000 && value <= 0x10FFFF);
}

}  // namespace

namespace beyondAscii {

CodePoint decode(std::string_view text, std::size_t position) {
  const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byteAt(position);
  const std::size_t length = sequenceLength(lead);
  if (length == 0 || text.size() - position < length) return illFormed;

  char32_t value = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned char byte = byteAt(position + i);
    if (!isContinuation(byte)) return illFormed;
    value = value << 6 | (byte & 0x3Fu);
  }
  return belongsInSequence(value, length) ? CodePoint{value, length} : illFormed;
}

CodePoint decodeBefore(std::string_view text, std::size_t position) {
  std::size_t start = position - 1;
  while (start > 0 && position - start < 4 && isContinuation(static_cast<unsigned char>(text[start]))) --start;
  const CodePoint found = unicode::decode(text, start);
  return start + found.length == position ? found : illFormed;
}

bool isLetter(char32_t c) { return isOfCategory(c, U_GC_L_MASK); }

bool isLetterOrNumber(char32_t c) { return isOfCategory(c, U_GC_L_MASK | U_GC_N_MASK); }

bool isNumber(char32_t c) { return isOfCategory(c, U_GC_N_MASK); }

bool isDigit(char32_t c) { return isOfCategory(c, U_GC_ND_MASK); }

int digitValue(char32_t c) { return u_charDigitValue(static_cast<UChar32>(c)); }

bool isWord(char32_t c) {
  if (c == 0x200C || c == 0x200D) return true;  // the joiners that some scripts write inside words
  return u_isUAlphabetic(static_cast<UChar32>(c)) || isOfCategory(c, wordCategories);
}

bool isWhitespace(char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)); }

}  // namespace beyondAscii

bool isIgnorable(char32_t c) {
  // Of the letters of Europe none is, and their texts need no look at ICU's table.
  constexpr char32_t softHyphen = 0xAD;
  constexpr char32_t graphemeJoiner = 0x34F;
  constexpr char32_t nextOne = 0x61C;
  if (c < nextOne) return c == softHyphen || c == graphemeJoiner;
  return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_DEFAULT_IGNORABLE_CODE_POINT) != 0;
}

void append(std::string& text, char32_t c) {
  const auto tail = [c](int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += {static_cast<char>(0xC0 | c >> 6), tail(0)};
  } else if (c < 0x10000) {
    text += {static_cast<char>(0xE0 | c >> 12), tail(6), tail(0)};
  } else {
    text += {static_cast<char>(0xF0 | c >> 18), tail(12), tail(6), tail(0)};
  }
}

}  // namespace vesk::unicode
