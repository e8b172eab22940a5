#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/base/Unicode.h"

namespace vesk::text {
namespace {

const icu::Normalizer2& normalizer() {
  UErrorCode status = U_ZERO_ERROR;
  return *icu::Normalizer2::getNFCInstance(status);
}

// Canonical caseless form, of the whole text at once.
std::string foldedWhole(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString units = normalizer().normalize(icu::UnicodeString::fromUTF8(text), status);
  units = normalizer().normalize(units.foldCase(), status);
  std::string result;
  return units.toUTF8String(result);
}

bool startsWithMark(const std::string& text) {
  return !text.empty() && !normalizer().hasBoundaryBefore(static_cast<UChar32>(unicode::decode(text, 0).value));
}

bool occursInWhole(const std::string& query, const std::string& text) {
  const std::string words = foldedWhole(query);
  const std::string all = foldedWhole(text);
  if (words.empty()) return false;
  for (std::size_t at = all.find(words); at != std::string::npos; at = all.find(words, at + 1))
    if (!startsWithMark(all.substr(at + words.size()))) return true;
  return false;
}

// Characters that fold, compose, decompose, change places or only look as if they did.
const std::vector<std::string_view> nasty = split(
    "a K s S e i I \n h ß \u1E9E \u017F \u212A \u212B \u2126 \u0130 \u0131 \u0149 \u01F0 \u03C3 \u03C2 \u03A3 "
    "\u03B1 \u03B9 \u1FB3 \u1FB4 \u1FBC \u0390 \u1E9A \u0301 \u0304 \u0307 \u0308 \u030C \u0323 \u0327 \u0340 "
    "\u0344 \u0345 \uFB01 \uFB03 \uFB2C \u05D0 \u05BC \u037E \u0587 é É ế \u1100 \u1161 \u11A8 \uAC00 \uAC01 "
    "\u304B \u3099 \u304C \uF900 漢 \u0915 \u093C \u0958 \u09C7 \u09BE \u0E01 \u0E48 \u200D \u00AD — \u13A0 "
    "\uAB70 \u10A0 ж Ж й \u0306 \U0001D15E \U0001D165 \U00010400 😀 \uFFFD plain",
    ' ');

std::string nastyText(std::mt19937& random, std::size_t count) {
  std::uniform_int_distribution<std::size_t> index(0, nasty.size() - 1);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view piece = nasty[index(random)];
    text += piece == "plain" ? "The quick brown Fox Jumps over it" : piece;
  }
  return text;
}

TEST(TextSearch, FindsRegardlessOfCaseAndForm) {
  const auto check = [](std::string_view rows, bool found) {
    for (const std::string_view row : split(rows, '|')) {
      const std::string query(row.substr(0, row.find('=')));
      const std::string text(row.substr(query.size() + 1));
      EXPECT_EQ(TextSearch(query).occursIn(text), found) << row;
      EXPECT_EQ(occursInWhole(query, text), found) << row;
    }
  };
  check(
      "NOTE=my notes|kelvin=\u212Aelvin|\u212A=K|sun=\u017Fun|STRASSE=straße|straße=STRASSE|\u1E9E=ss|ΟΔΟΣ=οδος|"
      "οδοσ=ΟΔΟΣ|i\u0307stanbul=\u0130stanbul|café=CAFE\u0301|cafe\u0301=CAFÉ|cafe=café cafe|cafe=cafe\u0301cafe|"
      "caf=cafe\u0301|k\u0304=K\u0304x|ệ=e\u0302\u0323|\u1100\u1161=가|각=가\u11A8|\u03B1\u03B9=\u1FB3|"
      "日本=これは日本語",
      true);
  check(
      "notes=my note|=anything|a=|istanbul=\u0130stanbul|ı=i|cafe=café|cafe=cafe\u0301|k=k\u0304|ê=ệ|"
      "가=\u1100\u1161\u11A8|가=가\u11A8|か=か\u3099",
      false);
}

TEST(TextSearch, FoldsEveryCharacterAsIcuDoes) {
  for (char32_t c = 1; c < 0x30000; c = c == 0xD7FF ? 0xE000 : c + 1) {
    std::string text = "x";
    icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(text);
    ASSERT_EQ(folded(text), foldedWhole(text)) << static_cast<std::uint32_t>(c);
    // What folding cluster by cluster rests on: the folded form of a cluster joins nothing before it either.
    const std::string alone = text.substr(1);
    ASSERT_LE(startsWithMark(foldedWhole(alone)), startsWithMark(alone)) << static_cast<std::uint32_t>(c);
  }
}

TEST(TextSearch, FoldsAndFindsAsInTheWholeText) {
  std::mt19937 random(1);
  for (std::size_t i = 0; i < 20'000; ++i) {
    const std::string query = nastyText(random, 1 + random() % 2);
    const std::string text = nastyText(random, random() % 12) + (i % 4 == 0 ? query : "") + nastyText(random, i % 3);
    SCOPED_TRACE(testing::PrintToString(text));
    ASSERT_EQ(folded(text), foldedWhole(text));
    ASSERT_EQ(TextSearch(query).occursIn(text), occursInWhole(query, text)) << testing::PrintToString(query);
  }
  const std::string large = nastyText(random, 100'000);
  EXPECT_TRUE(folded(large) == foldedWhole(large));
}

// Long texts are folded in pieces of 16 KiB; nothing may be lost where two of them meet.
TEST(TextSearch, FindsAcrossPieces) {
  const TextSearch street("Große Straße");
  const TextSearch cafe("cafe");
  for (std::size_t before = 16 * 1024 - 24; before < 16 * 1024 + 4; ++before) {
    SCOPED_TRACE(before);
    const std::string filler(before, 'A');
    EXPECT_TRUE(street.occursIn(filler + "GROSSE straße" + filler));
    EXPECT_FALSE(cafe.occursIn(filler + "cafe\u0301" + filler));
    EXPECT_TRUE(cafe.occursIn(filler + "cafe\u0301 cafe"));
    EXPECT_EQ(folded(filler + "E\u0301\u0323" + filler), foldedWhole(filler + "E\u0301\u0323" + filler));
  }
  const TextSearch longQuery(std::string(20'000, 'x') + "y");
  EXPECT_TRUE(longQuery.occursIn(std::string(50'000, 'X') + "Y"));
  EXPECT_FALSE(longQuery.occursIn(std::string(50'000, 'X')));
}

TEST(TextSearch, TellsTheLine) {
  const TextSearch search("straße");
  EXPECT_EQ(search.lineOf("Ort\r\n\r\nHaupt-STRASSE 1\r\nStraße"), 7u);
  EXPECT_EQ(search.lineOf("\u212A\nin der Straße"), 4u);
  EXPECT_EQ(search.lineOf("Stra\nße"), std::nullopt);
  EXPECT_EQ(TextSearch("").lineOf("a"), std::nullopt);
}

// To put the marks of one letter in order takes time quadratic in their number: here that would be hours.
TEST(TextSearch, IsNotHeldUpByEndlessMarks) {
  std::string text = "a";
  for (int i = 0; i < 2'000'000; ++i) text += i % 2 == 0 ? "\u0301" : "\u0323";
  EXPECT_FALSE(TextSearch("a").occursIn(text));
  EXPECT_TRUE(TextSearch("b").occursIn(text + "b"));
}

TEST(TextSearch, StaysWithinIllFormedText) {
  std::mt19937 random(2);
  for (int i = 0; i < 5'000; ++i) {
    std::string text = nastyText(random, 20);
    for (int j = 0; j < 4; ++j) text[random() % text.size()] = static_cast<char>(random() % 256);
    text.resize(random() % text.size());
    text.shrink_to_fit();
    folded(text);
    TextSearch(text).occursIn(text + "x");
  }
}

}  // namespace
}  // namespace vesk::text
