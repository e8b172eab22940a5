#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/coll.h>
#include <unicode/regex.h>
#include <unicode/ustring.h>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk {
namespace {

using Random = std::mt19937;

std::size_t upTo(Random& random, std::size_t most) {
  return std::uniform_int_distribution<std::size_t>(0, most)(random);
}

// `count` pieces of the alphabet, one after the other.
std::string randomText(Random& random, const std::vector<std::string>& alphabet, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += alphabet[upTo(random, alphabet.size() - 1)];
  return text;
}

std::string utf8(char32_t c) {
  std::string bytes;
  return icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(bytes);
}

bool isValidToIcu(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t length = 0;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return status != U_INVALID_CHAR_FOUND;
}

TEST(Text, TellsWellFormedUtf8WhereverItStands) {
  const std::vector<std::string> wellFormed = {"",       "é",          "\u07FF", "\u0800",
                                               "\uD7FF", "\uE000",     "\uFFFD", "\U00010000",
                                               "Жёлтый", "\U0010FFFF", "日本語", std::string("\0", 1)};
  const auto illFormed = text::split(
      "\x80 \xBF \xC0\xAF \xC1\xBF \xC3 \xC3( \xE0\x9F\xBF \xE2\x82 \xED\xA0\x80 "
      "\xED\xBF\xBF \xF0\x8F\xBF\xBF \xF0\x9F\x98 \xF4\x90\x80\x80 \xF5\x80\x80\x80 \xFF \xE9t\xE9",
      ' ');
  for (std::size_t before = 0; before < 70; ++before) {
    for (const std::string& after : {std::string(), std::string(40, 'b')}) {
      SCOPED_TRACE(before);
      for (const std::string& c : wellFormed) EXPECT_TRUE(text::isValidUtf8(std::string(before, 'a') + c + after)) << c;
      for (const auto c : illFormed) EXPECT_FALSE(text::isValidUtf8(std::string(before, 'a') + std::string(c) + after));
      EXPECT_FALSE(text::isAscii(std::string(before, 'a') + "é" + after));
      EXPECT_TRUE(text::isAscii(std::string(before, 'a') + after));
    }
  }
}

TEST(Text, AgreesWithIcuOnBytesAtRandom) {
  Random random(1);
  const std::vector<std::string> alphabet = {"a",    "é",    "€",    "😀",    "\x80", "\xBF", "\x9F", "\xC2",
                                             "\xE0", "\xED", "\xEF", "\xF0", "\xF4", "\xA0", "\x90", "aaaaaaaa"};
  for (int i = 0; i < 50'000; ++i) {
    const std::string bytes = randomText(random, alphabet, upTo(random, 5));
    EXPECT_EQ(text::isValidUtf8(bytes), isValidToIcu(bytes)) << testing::PrintToString(bytes);
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

TEST(Text, OrdersNamesAsAFileBrowserDoes) {
  const std::vector<std::string> names = {
      "",   "_draft", "- list", "(a)",    "#tag",    "1 Projects", "02 Areas", "2 Areas",   "10 x", "\u00C9a",
      "eb", "Note",   "note",   "Note 1", "Note 2b", "note 02b",   "Note 10",  "\u00DCber", "V"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    for (std::size_t j = 0; j < names.size(); ++j) {
      const int order = text::compareNames(names[i], names[j]);
      EXPECT_EQ(order < 0, i < j) << names[i] << " / " << names[j];
      EXPECT_EQ(order == 0, i == j) << names[i] << " / " << names[j];
    }
  }
}

int sign(int order) { return (order > 0) - (order < 0); }

TEST(Text, OrdersAsciiNamesAsTheRootCollationDoes) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getRoot(), status));
  collator->setStrength(icu::Collator::SECONDARY);
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  ASSERT_TRUE(U_SUCCESS(status));
  const auto expected = [&](const std::string& a, const std::string& b) {
    const int order = collator->compareUTF8(a, b, status);
    return order != 0 ? order : sign(a.compare(b));
  };

  std::vector<std::string> names;
  for (char c = ' '; c <= '~'; ++c) names.insert(names.end(), {std::string(1, c), {'a', c}, {'1', c}});
  for (const char* number : {"0", "00", "000", "01", "1", "10", "010", "9", "99", "100", "0x", "00x", "1 ", "1.5"}) {
    names.insert(names.end(), {number, std::string("Note ") + number});
  }
  for (const std::size_t digits : {253u, 254u, 255u, 256u, 600u}) {
    for (const char digit : {'0', '1', '9'}) names.push_back("n" + std::string(digits, digit) + "1");
  }
  for (const std::string& a : names) {
    for (const std::string& b : names) EXPECT_EQ(sign(text::compareNames(a, b)), expected(a, b)) << a << " / " << b;
  }

  Random random(2);
  std::vector<std::string> alphabet = {"0", "00",   "1",    "9", "12", "a", "A", "b",
                                       "Z", "note", "Note", " ", ".",  "-", "_"};
  for (char c = ' '; c <= '~'; ++c) alphabet.push_back({c});
  for (int i = 0; i < 50'000; ++i) {
    const std::string start = randomText(random, alphabet, upTo(random, 3));
    const std::string a = start + randomText(random, alphabet, upTo(random, 4));
    const std::string b = start + randomText(random, alphabet, upTo(random, 4));
    EXPECT_EQ(sign(text::compareNames(a, b)), expected(a, b)) << a << " / " << b;
  }
}

TEST(Text, CutsBetweenCharacters) {
  const std::string family = "👩‍👩‍👧";
  struct Case {
    std::string text;
    std::size_t characters;
    std::string beginning;
  };
  const Case cases[] = {
      {"Hello", 3, "Hel"},
      {"Hi", 9, "Hi"},
      {"Hi", 0, ""},
      {"", 1, ""},
      {"e\u0301a", 1, "e\u0301"},
      {"ae\u0301\u0323b", 2, "ae\u0301\u0323"},
      {"a\r\nb", 2, "a\r\n"},
      {"a\n\rb", 2, "a\n"},
      {family + "x", 1, family},
      {"🇫🇷🇩🇪🇪🇸", 2, "🇫🇷🇩🇪"},
  };
  for (const Case& c : cases) EXPECT_EQ(text::firstCharacters(c.text, c.characters), c.beginning) << c.text;

  EXPECT_EQ(text::firstBytes("ab" + family, 12), "ab");
  EXPECT_EQ(text::firstBytes("a\r\nb", 2), "a");
  EXPECT_EQ(text::firstUnits("a😀b", 2), "a");
  EXPECT_EQ(text::firstUnits("a😀b", 3), "a😀");
  EXPECT_EQ(text::firstUnits("ee\u0301", 2), "e");
  EXPECT_EQ(text::unitCount("aé€😀"), 5u);
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

std::string_view longestWithin(const std::string& text, const std::vector<std::size_t>& ends,
                               std::size_t (*size)(std::string_view), std::size_t limit) {
  std::string_view longest;
  for (const std::size_t end : ends) {
    const auto beginning = std::string_view(text).substr(0, end);
    if (size(beginning) <= limit) longest = beginning;
  }
  return longest;
}

TEST(Text, CutsAnyTextWhereIcuWould) {
  const std::vector<std::string> alphabet = {
      "a",    "b", " ", "\r", "\n", "\r\n",   "é",      "\u0301", "ж",      "\u200D", "\uFE0F", "👩",
      "🏽", "🇫", "🇷", "❤",  "가", "\u1100", "\u1161", "\u11A8", "\u0915", "\u094D", "\u0E33", "\u0600"};
  const auto bytes = [](std::string_view text) { return text.size(); };
  Random random(3);
  for (int i = 0; i < 3'000; ++i) {
    const std::string text = randomText(random, alphabet, upTo(random, 14));
    SCOPED_TRACE(testing::PrintToString(text));
    const std::vector<std::size_t> ends = characterEnds(text);
    for (std::size_t count = 0; count < ends.size(); ++count) {
      EXPECT_EQ(text::firstCharacters(text, count).size(), ends[count]);
    }
    for (std::size_t limit = 0; limit <= text.size(); ++limit) {
      EXPECT_EQ(text::firstBytes(text, limit), longestWithin(text, ends, bytes, limit));
      EXPECT_EQ(text::firstUnits(text, limit), longestWithin(text, ends, text::unitCount, limit));
    }
    EXPECT_EQ(text::unitCount(text), static_cast<std::size_t>(icu::UnicodeString::fromUTF8(text).length()));
  }
}

TEST(Text, TrimsAndCollapses) {
  EXPECT_EQ(text::trimSpaces("  a \t "), "a \t");
  EXPECT_EQ(text::trimBlanks(" \ta b\n\t "), "a b\n");
  EXPECT_EQ(text::trimWhitespace("\u00A0\n\u3000 é b\u2028\r\n"), "é b");
  EXPECT_EQ(text::trimWhitespace("\u200Ba\u200B"), "\u200Ba\u200B");  // a zero-width space is no White_Space
  for (const char* blank : {"", " ", "   "}) {
    EXPECT_EQ(text::trimSpaces(blank), "");
    EXPECT_EQ(text::trimWhitespace(blank), "");
    EXPECT_EQ(text::collapseWhitespace(blank), "");
  }
  EXPECT_EQ(text::collapseWhitespace("\n a \u00A0\t b\u2003c\r\n"), "a b c");
}

TEST(Text, SplitsAndJoins) {
  using Pieces = std::vector<std::string_view>;
  EXPECT_EQ(text::split("", '/'), Pieces({""}));
  EXPECT_EQ(text::split("/a//b/", '/'), Pieces({"", "a", "", "b", ""}));
  EXPECT_EQ(text::join({}, ", "), "");
  EXPECT_EQ(text::join({"a", "", "b"}, ", "), "a, , b");
}

TEST(Unicode, DecodesBothWays) {
  for (char32_t c = 1; c <= 0x10FFFF; c += c < 0x11000 ? 1 : 61) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string text = "é" + utf8(c) + "é";
    const std::size_t length = text.size() - 4;
    const unicode::CodePoint forward = unicode::decode(text, 2);
    const unicode::CodePoint backward = unicode::decodeBefore(text, 2 + length);
    ASSERT_EQ(std::pair(forward.value, forward.length), std::pair(c, length));
    ASSERT_EQ(std::pair(backward.value, backward.length), std::pair(c, length));
  }
  for (const char* bytes : {"\x80", "\xC3", "\xC0\x80", "\xE2\x82", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
    const std::string_view text = bytes;
    for (const unicode::CodePoint c : {unicode::decode(text, 0), unicode::decodeBefore(text, text.size())}) {
      EXPECT_EQ(c.value, U'\uFFFD');
      EXPECT_EQ(c.length, 1u);
    }
  }
}

TEST(Unicode, ClassesAreThoseOfRegularExpressions) {
  icu::UnicodeString all;
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    if (!U_IS_SURROGATE(c)) all.append(c);
  }
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
