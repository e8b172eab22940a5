#pragma once

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/regex.h>

namespace vesk::test {

inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

// `text` with every match of a pattern replaced, as ICU's own engine does it.
inline std::string replaced(const std::string& text, const char* pattern, const char* replacement) {
  UErrorCode status = U_ZERO_ERROR;
  const auto wide = icu::UnicodeString::fromUTF8(text);
  icu::RegexMatcher matcher(icu::UnicodeString::fromUTF8(pattern), wide, 0, status);
  std::string result = utf8(matcher.replaceAll(icu::UnicodeString::fromUTF8(replacement), status));
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return result;
}

// The first match of a pattern.
inline std::optional<std::string> firstMatch(const std::string& text, const char* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  const auto wide = icu::UnicodeString::fromUTF8(text);
  icu::RegexMatcher matcher(icu::UnicodeString::fromUTF8(pattern), wide, 0, status);
  if (!matcher.find(status)) return std::nullopt;
  return utf8(matcher.group(status));
}

inline std::string randomText(std::mt19937& random, const std::vector<std::string_view>& pieces, std::size_t most) {
  std::string text;
  for (std::size_t count = random() % most; count > 0; --count) text += pieces[random() % pieces.size()];
  return text;
}

inline std::string filledWith(std::string_view piece, std::size_t size) {
  std::string text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  return text;
}

}  // namespace vesk::test
