#pragma once

#include <cstddef>
#include <string_view>

// Single code points and the classes that the scanners need, exactly as ICU's regular expressions define them.
namespace vesk::unicode {

struct CodePoint {
  char32_t value = 0;      // U+FFFD for a byte that starts no well-formed sequence
  std::size_t length = 0;  // bytes taken, at least 1
};

// The code point that starts at `position` (< text.size()).
CodePoint decode(std::string_view text, std::size_t position);

// The code point that ends just before `position` (> 0).
CodePoint decodeBefore(std::string_view text, std::size_t position);

bool isLetter(char32_t c);          // \p{L}
bool isLetterOrNumber(char32_t c);  // \p{L} or \p{N}
bool isNumber(char32_t c);          // \p{N}
bool isWord(char32_t c);            // \w: Alphabetic, Mark, Decimal_Number, Connector_Punctuation, U+200C, U+200D
bool isWhitespace(char32_t c);      // \s: White_Space

}  // namespace vesk::unicode
