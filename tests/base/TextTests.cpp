#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/coll.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/ustring.h>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk {
namespace {

using Random = std::mt19937;

// At most `most` pieces of the alphabet, one after the other.
std::string randomText(Random& random, const std::vector<std::string_view>& alphabet, std::size_t most) {
  std::string text;
  for (std::size_t count = random() % (most + 1); count > 0; --count) text += alphabet[random() % alphabet.size()];
  return text;
}

bool isValidToIcu(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t length = 0;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return status != U_INVALID_CHAR_FOUND;
}

TEST(Text, TellsWellFormedUtf8AsIcuDoes) {
  auto pieces = text::split(
      "a é € 😀 \u07FF \u0800 \uD7FF \uE000 \uFFFD \U00010000 \U0010FFFF \x80 \xBF \x90 \xA0 \xC2 \xE0 \xED \xF0 \xF4 "
      "\xC0\xAF \xC1\xBF \xC3( \xE0\x9F\xBF \xE2\x82 \xED\xA0\x80 \xED\xBF\xBF \xF0\x8F\xBF\xBF \xF0\x9F\x98 "
      "\xF4\x90\x80\x80 \xF5\x80\x80\x80 \xFF aaaaaaaa",
      ' ');
  pieces.push_back(std::string_view("\0", 1));
  Random random(1);
  for (int i = 0; i < 100'000; ++i) {
    // Over the borders of the blocks that are looked at together, too.
    const std::string text =
        std::string(random() % 600, 'a') + randomText(random, pieces, 4) + std::string(i % 40, 'b');
    EXPECT_EQ(text::isValidUtf8(text), isValidToIcu(text)) << testing::PrintToString(text);
    EXPECT_EQ(text::isAscii(text), std::ranges::all_of(text, [](char c) { return c >= 0; }));
  }
}

TEST(Text, ComparesByOneKey) {
  const std::pair<const char*, const char*> same[] = {
      {"Inbox", "iNBOX"},        {"ÉTÉ", "e\u0301te\u0301"}, {"ÅNGSTRÖM", "\u212Bngstro\u0308m"},
      {"\u212Aelvin", "kelvin"}, {"ЖУРНАЛ", "журнал"},       {"\u1100\u1161", "가"},
  };
  for (const auto& [a, b] : same) {
    EXPECT_EQ(text::key(a), text::key(b)) << a;
    EXPECT_TRUE(text::equalIgnoringCase(a, b)) << a;
  }
  const std::pair<const char*, const char*> different[] = {
      {"cafe", "café"}, {"Straße", "STRASSE"}, {"a", "ab"}, {"[", "{"}, {"@", "`"}, {"", "a"}};
  for (const auto& [a, b] : different) EXPECT_FALSE(text::equalIgnoringCase(a, b)) << a;
  EXPECT_EQ(text::key("Z@[`{|0É"), "z@[`{|0é");
  EXPECT_EQ(text::nfc("cafe\u0301 \u212B"), "café Å");
}

std::string keyOfIcu(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto normalized =
      icu::Normalizer2::getNFCInstance(status)->normalize(icu::UnicodeString::fromUTF8(text), status);
  std::string key;
  icu::UnicodeString(normalized).toLower(icu::Locale::getRoot()).toUTF8String(key);
  return key;
}

TEST(Text, MakesTheKeyThatIcuWouldMake) {
  const auto check = [](const std::string& text) { ASSERT_EQ(text::key(text), keyOfIcu(text)) << text; };
  for (UChar32 c = 0; c <= 0xFFFF; ++c) {
    if (U_IS_SURROGATE(c)) continue;
    std::string character;
    icu::UnicodeString(c).toUTF8String(character);
    check("é" + character + "e");
  }
  const auto alphabet = text::split(
      "a Z é É ß Σ σ . İ ı Ⱥ ǅ Ж й и ΐ Ά か が は \u309A ー 中 가 ᄀ ᅡ ᆨ — \u0301 \u0308 \u0327 \u3099 😀 𐐀", ' ');
  Random random(4);
  for (int i = 0; i < 50'000; ++i) check(randomText(random, alphabet, 8));
}

TEST(Text, OrdersNamesAsAFileBrowserDoes) {
  const auto names = text::split(
      "/_draft/- list/(a)/#tag/1 Projects/02 Areas/2 Areas/10 x/\u00C9a/eb/Note/note/Note 1/Note 2b/note 02b/Note 10/"
      "\u00DCber/V",
      '/');
  for (std::size_t i = 0; i < names.size(); ++i)
    for (std::size_t j = 0; j < names.size(); ++j) {
      const int order = text::compareNames(names[i], names[j]);
      EXPECT_EQ(std::pair(order < 0, order == 0), std::pair(i < j, i == j)) << names[i] << " / " << names[j];
    }
}

int sign(int order) { return (order > 0) - (order < 0); }

TEST(Text, OrdersAsciiNamesAsTheRootCollationDoes) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getRoot(), status));
  collator->setStrength(icu::Collator::SECONDARY);
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  ASSERT_TRUE(U_SUCCESS(status));
  const auto check = [&](const std::string& a, const std::string& b) {
    const int order = collator->compareUTF8(a, b, status);
    EXPECT_EQ(sign(text::compareNames(a, b)), order != 0 ? order : sign(a.compare(b))) << a << " / " << b;
  };

  std::vector<std::string> printable;
  for (char c = ' '; c <= '~'; ++c) printable.push_back({c});
  std::vector<std::string_view> alphabet(printable.begin(), printable.end());
  for (const auto piece : text::split("0/00/000/1/9/10/12/99/a/A/b/Z/note/Note/ /./-/_", '/'))
    alphabet.push_back(piece);
  for (const std::string& a : printable)
    for (const std::string& b : printable) {
      check(a, b);
      check("a" + a, "1" + b);
      check("1" + a, "1" + b);
    }
  for (const std::size_t digits : {253u, 254u, 255u, 256u, 600u})  // the collator takes 254 at a time
    for (const char a : {'0', '1', '9'})
      for (const char b : {'0', '1', '9'}) check(std::string(digits, a) + "1", std::string(254, b) + "1");

  Random random(2);
  for (int i = 0; i < 50'000; ++i) {
    const std::string start = randomText(random, alphabet, 3);
    check(start + randomText(random, alphabet, 4), start + randomText(random, alphabet, 4));
  }
}

// Where the characters of `text` end, in bytes, as ICU says of the whole text.
std::vector<std::size_t> characterEnds(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> iterator(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  const icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
  iterator->setText(units);
  std::vector<std::size_t> ends = {0};
  while (iterator->next() != icu::BreakIterator::DONE) {
    std::string beginning;
    ends.push_back(units.tempSubString(0, iterator->current()).toUTF8String(beginning).size());
  }
  return ends;
}

std::string_view longestWithin(std::string_view text, const std::vector<std::size_t>& ends,
                               std::size_t (*size)(std::string_view), std::size_t limit) {
  std::string_view longest;
  for (const std::size_t end : ends)
    if (size(text.substr(0, end)) <= limit) longest = text.substr(0, end);
  return longest;
}

TEST(Text, CutsAnyTextWhereIcuWould) {
  const std::vector<std::string_view> alphabet = {
      "a",    "b", " ", "\r", "\n", "\r\n",   "é",      "\u0301", "ж",      "\u200D", "\uFE0F", "👩",
      "🏽", "🇫", "🇷", "❤",  "가", "\u1100", "\u1161", "\u11A8", "\u0915", "\u094D", "\u0E33", "\u0600"};
  const auto bytes = [](std::string_view text) { return text.size(); };
  Random random(3);
  for (int i = 0; i < 3'000; ++i) {
    const std::string text = randomText(random, alphabet, 14);
    SCOPED_TRACE(testing::PrintToString(text));
    const std::vector<std::size_t> ends = characterEnds(text);
    for (std::size_t count = 0; count < ends.size(); ++count)
      EXPECT_EQ(text::firstCharacters(text, count).size(), ends[count]);
    for (std::size_t limit = 0; limit <= text.size(); ++limit) {
      EXPECT_EQ(text::firstBytes(text, limit), longestWithin(text, ends, bytes, limit));
      EXPECT_EQ(text::firstUnits(text, limit), longestWithin(text, ends, text::unitCount, limit));
    }
    EXPECT_EQ(text::unitCount(text), static_cast<std::size_t>(icu::UnicodeString::fromUTF8(text).length()));
  }
  EXPECT_EQ(text::firstCharacters("👩‍👩‍👧🇫🇷e\u0301\r\n\r", 4),
            "👩‍👩‍👧🇫🇷e\u0301\r\n");
  EXPECT_EQ(text::firstCharacters("Hi", 9), "Hi");
}

TEST(Text, TrimsSplitsAndJoins) {
  EXPECT_EQ(text::trimSpaces("  a \t "), "a \t");
  EXPECT_EQ(text::trim(" \ta b\n\t ", " \t"), "a b\n");
  EXPECT_EQ(text::trimWhitespace("\u00A0\n\u3000 é b\u2028\r\n"), "é b");
  EXPECT_EQ(text::trimWhitespace("\u200Ba\u200B"), "\u200Ba\u200B");  // a zero-width space is no White_Space
  EXPECT_EQ(text::collapseWhitespace("\n a \u00A0\t b\u2003c\r\n"), "a b c");
  for (const auto function : {text::trimSpaces, text::trimWhitespace}) EXPECT_EQ(function("  "), "");
  EXPECT_EQ(text::collapseWhitespace(" \n "), "");
  EXPECT_EQ(text::split("/a//b/", '/'), (std::vector<std::string_view>{"", "a", "", "b", ""}));
  EXPECT_EQ(text::join({"a", "", "b"}, ", "), "a, , b");
}

TEST(Unicode, DecodesBothWays) {
  for (char32_t c = 1; c <= 0x10FFFF; c += c < 0x11000 ? 1 : 61) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text = "é";
    icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(text);
    const std::size_t length = text.size() - 2;
    text += "é";
    const unicode::CodePoint forward = unicode::decode(text, 2);
    const unicode::CodePoint backward = unicode::decodeBefore(text, 2 + length);
    ASSERT_EQ(std::pair(forward.value, forward.length), std::pair(c, length));
    ASSERT_EQ(std::pair(backward.value, backward.length), std::pair(c, length));
  }
  for (const std::string_view text : {"\x80", "\xC3", "\xC0\x80", "\xE2\x82", "\xED\xA0\x80", "\xF4\x90\x80\x80"})
    for (const unicode::CodePoint c : {unicode::decode(text, 0), unicode::decodeBefore(text, text.size())})
      EXPECT_EQ(std::pair(c.value, c.length), std::pair(U'\uFFFD', std::size_t{1}));
}

TEST(Unicode, ClassesAreThoseOfRegularExpressions) {
  icu::UnicodeString all;
  for (UChar32 c = 0; c <= 0x10FFFF; ++c)
    if (!U_IS_SURROGATE(c)) all.append(c);
  const std::pair<const char*, bool (*)(char32_t)> classes[] = {{"\\p{L}", unicode::isLetter},
                                                                {"[\\p{L}\\p{N}]", unicode::isLetterOrNumber},
                                                                {"\\p{N}", unicode::isNumber},
                                                                {"\\w", unicode::isWord},
                                                                {"\\s", unicode::isWhitespace}};
  for (const auto& [pattern, isOfClass] : classes) {
    SCOPED_TRACE(pattern);
    UErrorCode status = U_ZERO_ERROR;
    icu::RegexMatcher matcher(icu::UnicodeString(pattern), all, 0, status);
    std::int32_t next = matcher.find(status) ? matcher.start(status) : all.length();
    for (std::int32_t at = 0; at < all.length(); at = all.moveIndex32(at, 1)) {
      const UChar32 c = all.char32At(at);
      ASSERT_EQ(isOfClass(static_cast<char32_t>(c)), at == next) << c;
      if (at == next) next = matcher.find(status) ? matcher.start(status) : all.length();
    }
    ASSERT_TRUE(U_SUCCESS(status));
  }
}

}  // namespace
}  // namespace vesk
