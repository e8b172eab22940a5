#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// The inner loops of the text functions. Made for the compiler to inline.
namespace vesk::ascii {

inline bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Without branches, so that a loop over it becomes vector instructions.
inline char lower(char c) { return static_cast<char>(c + (static_cast<unsigned char>(c - 'A') < 26) * ('a' - 'A')); }

inline bool isLetter(char c) { return lower(c) >= 'a' && lower(c) <= 'z'; }

// From 0 to 15; -1 for what is no hexadecimal digit.
inline int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  return lower(c) >= 'a' && lower(c) <= 'f' ? lower(c) - 'a' + 10 : -1;
}

// The high bits of the eight bytes at `bytes`: zero where all are ASCII.
inline std::uint64_t highBits(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word & 0x8080808080808080;
}

// The number of ASCII bytes that `text` begins with.
inline std::size_t prefixLength(std::string_view text) {
  static_assert(std::endian::native == std::endian::little, "The first byte is taken for the lowest.");
  const char* bytes = text.data();
  std::size_t length = 0;
  while (text.size() - length >= 32) {
    const char* block = bytes + length;
    if ((highBits(block) | highBits(block + 8) | highBits(block + 16) | highBits(block + 24)) != 0) break;
    length += 32;
  }
  while (text.size() - length >= 8) {
    const std::uint64_t high = highBits(bytes + length);
    if (high != 0) return length + static_cast<std::size_t>(std::countr_zero(high)) / 8;
    length += 8;
  }
  while (length < text.size() && isAscii(text[length])) ++length;
  return length;
}

}  // namespace vesk::ascii
