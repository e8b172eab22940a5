#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/base/DiffLine.h"

namespace vesk {
namespace {

using Kind = DiffLine::Kind;
using Lines = std::vector<std::string>;

std::string shown(const std::vector<DiffLine>& diff) {
  std::string text;
  for (const DiffLine& line : diff) text.append(1, " +-"[static_cast<int>(line.kind)]).append(line.text) += '\n';
  return text;
}

std::string textOf(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text.append(line) += '\n';
  return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

// The walk through a table of every length.
std::vector<DiffLine> diffByTable(const Lines& before, const Lines& after) {
  std::vector<std::vector<int>> common(before.size() + 1, std::vector<int>(after.size() + 1));
  for (auto i = before.size(); i-- > 0;) {
    for (auto j = after.size(); j-- > 0;) {
      common[i][j] = before[i] == after[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::vector<DiffLine> diff;
  for (std::size_t i = 0, j = 0; i < before.size() || j < after.size();) {
    if (i < before.size() && j < after.size() && before[i] == after[j]) {
      diff.push_back({Kind::same, before[i++]});
      ++j;
    } else if (j == after.size() || (i < before.size() && common[i + 1][j] >= common[i][j + 1])) {
      diff.push_back({Kind::removed, before[i++]});
    } else {
      diff.push_back({Kind::added, after[j++]});
    }
  }
  return diff;
}

TEST(DiffLine, FollowsTheTableThroughRandomTexts) {
  std::mt19937 random(2001);
  const auto randomLines = [&](std::size_t most, std::size_t different) {
    Lines lines(random() % (most + 1));
    for (std::string& line : lines) line = std::to_string(random() % different);
    return lines;
  };
  for (int round = 0; round < 5'000; ++round) {
    const bool isLong = round % 50 == 0;  // rows of several words
    const std::size_t most = isLong ? 400 : 12;
    const std::size_t different = 1 + random() % (isLong ? 150 : 6);
    const Lines before = randomLines(most, different);
    const Lines after = randomLines(most, different);
    ASSERT_EQ(shown(DiffLine::compare(textOf(before), textOf(after))), shown(diffByTable(before, after)));
  }
}

TEST(DiffLine, TakesTextsApartAtTheirLineBreaks) {
  const struct {
    const char *before, *after, *diff;
  } cases[] = {
      {"", "\n", "+\n+\n"},
      {"a\nb", "", "-a\n-b\n"},
      {"a", "a\n", " a\n+\n"},
      {"a\r\nb", "a\nb", "-a\r\n+a\n b\n"},
      {"p\ns", "q\ns\nt\ns", "-p\n+q\n s\n+t\n+s\n"},  // without the common end the first "s" would be an added one
  };
  for (const auto& c : cases) EXPECT_EQ(shown(DiffLine::compare(c.before, c.after)), c.diff);
}

TEST(DiffLine, DoesNotCompareMoreThan2000Lines) {
  const std::string most(1999, '\n');
  const std::string tooMany = most + '\n';
  EXPECT_EQ(DiffLine::compare(most, most), std::vector<DiffLine>(2000));
  EXPECT_EQ(shown(DiffLine::compare(tooMany, "\n")), shown(DiffLine::compare(tooMany, "")) + "+\n+\n");
  EXPECT_EQ(shown(DiffLine::compare("\n", tooMany)), "-\n-\n" + shown(DiffLine::compare("", tooMany)));
}

}  // namespace
}  // namespace vesk
