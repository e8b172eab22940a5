#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/diagrams/DiagramText.h"

namespace vesk {
namespace {

using namespace std::string_literals;

// A block with its styles as letters: b, i, c(ode), s(truck), l(ink); a line each, with its marker.
std::string shown(const diagramText::Block& block) {
  std::string text;
  for (const diagramText::Line& line : block.lines) {
    text += line.isQuote ? "| " : "";
    text += line.marker.empty() ? "" : line.marker + " ";
    for (const diagramText::Run& run : line.runs) {
      const std::pair<bool, char> styles[] = {{run.style.isBold, 'b'},
                                              {run.style.isItalic, 'i'},
                                              {run.style.isCode, 'c'},
                                              {run.style.isStruck, 's'},
                                              {run.style.isLink, 'l'}};
      std::string letters;
      for (const auto& [isOn, letter] : styles)
        if (isOn) letters += letter;
      text += letters.empty() ? run.text : fmt::format("<{} {}>", letters, run.text);
    }
    text += '\n';
  }
  return text;
}

TEST(DiagramText, ShowsMarkdownByItsWords) {
  struct Case {
    double width;
    const char* text;
    const char* lines;
  };
  const Case cases[] = {
      {900, "a **b *c* d** __e__ ~~f~~", "a <b b ><bi c><b  d> <b e> <s f>\n"},
      {900, "2 * 3 * 4, snake_case_name, **open, `open, [open, \\*no\\*",
       "2 * 3 * 4, snake_case_name, **open, `open, [open, *no*\n"},
      {900, "[a *b*](x) [[N|w]] ![[p.png]] `[[c]]`", "<l a ><il b> <l w> <l p.png> <c [[c]]>\n"},
      {900, "# T **x**\r\n1. one\n- [ ] two\n  * [x] three\n> q", "<b T x>\n1. one\n☐ two\n☑ three\n| <i q>\n"},
      {900, "```c\nint *a;  // **no**\n```\nend", "<c int *a;  // **no**>\nend\n"},
      {150, "seven words that have to be wrapped", "seven words that\nhave to be wrapped\n"},
      {150, "木漏れ日の中で、木漏れ日の中で。", "木漏れ日の中で、木漏\nれ日の中で。\n"},
      {150, "Donaudampfschifffahrtsgesellschaft", "Donaudampfschifffa\nhrtsgesellschaft\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(shown(diagramText::markdown(c.text).in(diagramText::rectangle(c.width, 200))), c.lines) << c.text;
}

TEST(DiagramText, CutsWhatDoesNotFitBetweenCharacters) {
  const std::string family = "👨‍👩‍👧‍👦";
  for (const std::string& piece : {family, "e\u0301"s, "x"s, "[`*_![["s, "word "s, "\n\n\nz"s}) {
    std::string text = "a";
    while (text.size() < 300'000) text += piece;
    const diagramText::Block block = diagramText::markdown(text).in(diagramText::rectangle(90, 45));
    EXPECT_TRUE(block.isCut);
    EXPECT_LE(block.height, 45);
    EXPECT_LE(block.width, 90);
    std::string last = block.lines.back().runs.back().text;
    ASSERT_TRUE(last.ends_with("…")) << last;
    if (piece == family) {
      EXPECT_EQ((last.size() - "…"s.size()) % family.size(), 0u);
    }
  }
}

}  // namespace
}  // namespace vesk
