#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Single code points and the classes that the scanners need, exactly as ICU's regular expressions define them.
namespace vesk::unicode {

struct CodePoint {
  char32_t value = 0;      // U+FFFD for a byte that starts no well-formed sequence
  std::size_t length = 0;  // bytes taken, at least 1
};

// What the functions below do with other than ASCII.
namespace beyondAscii {
CodePoint decode(std::string_view text, std::size_t position);
CodePoint decodeBefore(std::string_view text, std::size_t position);
bool isLetter(char32_t c);
bool isLetterOrNumber(char32_t c);
bool isNumber(char32_t c);
bool isDigit(char32_t c);
int digitValue(char32_t c);
bool isWord(char32_t c);
bool isWhitespace(char32_t c);
}  // namespace beyondAscii

namespace asciiClass {

inline constexpr std::uint8_t letter = 1;
inline constexpr std::uint8_t digit = 2;
inline constexpr std::uint8_t word = 4;
inline constexpr std::uint8_t whitespace = 8;

inline constexpr std::array<std::uint8_t, 128> classes = [] {
  std::array<std::uint8_t, 128> made{};
  for (std::size_t c = 'a'; c <= 'z'; ++c) made[c] = made[c - 'a' + 'A'] = letter | word;
  for (std::size_t c = '0'; c <= '9'; ++c) made[c] = digit | word;
  made['_'] = word;
  for (const char c : {'\t', '\n', '\v', '\f', '\r', ' '}) made[static_cast<unsigned char>(c)] = whitespace;
  return made;
}();

inline bool has(char32_t c, std::uint8_t wanted) { return (classes[c] & wanted) != 0; }

}  // namespace asciiClass

// The code point that starts at `position` (< text.size()).
inline CodePoint decode(std::string_view text, std::size_t position) {
  const auto byte = static_cast<unsigned char>(text[position]);
  return byte < 0x80 ? CodePoint{byte, 1} : beyondAscii::decode(text, position);
}

// The code point that ends just before `position` (> 0).
inline CodePoint decodeBefore(std::string_view text, std::size_t position) {
  const auto byte = static_cast<unsigned char>(text[position - 1]);
  return byte < 0x80 ? CodePoint{byte, 1} : beyondAscii::decodeBefore(text, position);
}

// Adds a code point, no surrogate, to a text in UTF-8.
void append(std::string& text, char32_t c);

// \p{L}
inline bool isLetter(char32_t c) {
  return c < 0x80 ? asciiClass::has(c, asciiClass::letter) : beyondAscii::isLetter(c);
}

// \p{L} or \p{N}
inline bool isLetterOrNumber(char32_t c) {
  return c < 0x80 ? asciiClass::has(c, asciiClass::letter | asciiClass::digit) : beyondAscii::isLetterOrNumber(c);
}

// \p{N}
inline bool isNumber(char32_t c) { return c < 0x80 ? asciiClass::has(c, asciiClass::digit) : beyondAscii::isNumber(c); }

// \d: Decimal_Number
inline bool isDigit(char32_t c) { return c < 0x80 ? asciiClass::has(c, asciiClass::digit) : beyondAscii::isDigit(c); }

// The value, from 0 to 9, of a decimal digit of any script.
inline int digitValue(char32_t c) { return c < 0x80 ? static_cast<int>(c - '0') : beyondAscii::digitValue(c); }

// \w: Alphabetic, Mark, Decimal_Number, Connector_Punctuation, U+200C, U+200D
inline bool isWord(char32_t c) { return c < 0x80 ? asciiClass::has(c, asciiClass::word) : beyondAscii::isWord(c); }

// \s: White_Space
inline bool isWhitespace(char32_t c) {
  return c < 0x80 ? asciiClass::has(c, asciiClass::whitespace) : beyondAscii::isWhitespace(c);
}

// True for what takes no room on a screen unless it changes what stands beside it: Default_Ignorable_Code_Point.
bool isIgnorable(char32_t c);

}  // namespace vesk::unicode
