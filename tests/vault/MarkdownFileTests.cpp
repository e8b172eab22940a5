#include "core/base/Text.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownTable.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using namespace std::string_view_literals;
using Tags = std::vector<std::string>;

TEST(MarkdownFile, ChangesNothingButTheTags) {
  const auto alphabet = text::split(
      "---~---\n~--- \t\n~---\r\n~----\n~\n~\r\n~\r~ ~\uFEFF~tags:~[a, b]~\n- x~\n  - y~:~'\"~#~ü~title: T~text\n~- ~\xFF~\0"sv,
      '~');
  std::vector<std::string> texts = {"", "---", "---\n---", "---\n---\nx", " ---\t\n\n --- \nbody", "---\na\n----\nx"};
  std::mt19937 random(11);
  for (int i = 0; i < 6000; ++i) texts.push_back((i % 2 ? "---\n" : "") + test::randomText(random, alphabet, 16));
  for (const std::string& text : texts) {
    SCOPED_TRACE(testing::PrintToString(text));
    MarkdownFile file(text);
    ASSERT_EQ(file.serialized(), text);
    file.setTags(file.frontmatterTags());
    ASSERT_EQ(file.serialized(), text) << "the tags it has";
    const bool hasMark = text.starts_with("\uFEFF") && file.body.starts_with("\uFEFF");
    const std::string body = hasMark ? file.body.substr(3) : file.body;
    file.setTags({"new/tag", "zwei"});
    const MarkdownFile read(file.serialized());
    ASSERT_EQ(read.frontmatterTags(), (Tags{"new/tag", "zwei"}));
    ASSERT_EQ(read.body, body);
    ASSERT_EQ(read.frontmatter, file.frontmatter);
  }
}

TEST(MarkdownFile, ReadsAndWritesTagsInTheStyleTheyHave) {
  struct Case {
    std::string text;
    Tags had;
    Tags set;
    std::string written;
  };
  const Case cases[] = {
      {"---\ntags: [a, \"#b\" , 'c']\nx: 1\n---\nB", {"a", "b", "c"}, {"d"}, "---\ntags: [d]\nx: 1\n---\nB"},
      {"---\ntags:\n  - a\n  - '#b'\nx: 1\n---\nB", {"a", "b"}, {"d", "e"}, "---\ntags:\n  - d\n  - e\nx: 1\n---\nB"},
      {"---\r\ntags:\r\n- a\r\n---\r\nB", {"a"}, {"d"}, "---\r\ntags:\r\n- d\r\n---\r\nB"},
      {"---\ntags: one\n---\n", {"one"}, {}, ""},
      {"---\ntags:\nx: 1\n---\n", {}, {"d"}, "---\ntags: [d]\nx: 1\n---\n"},
      {"---\nx:\n  tags: [no]\n---\n", {}, {}, "---\nx:\n  tags: [no]\n---\n"},
      {"B", {}, {"a\nb", "c,d", "#e", " ", "e"}, "---\ntags: [a b, c d, e]\n---\nB"},
      {"one\r\ntwo", {}, {"d"}, "---\r\ntags: [d]\r\n---\r\none\r\ntwo"},
      {"\uFEFFB", {}, {"d"}, "\uFEFF---\ntags: [d]\n---\nB"},
      {"---\nopen", {}, {"d"}, "---\ntags: [d]\n---\n---\nopen"},
      {"---\ntags: [a, a]\n---\n", {"a", "a"}, {"a"}, "---\ntags: [a, a]\n---\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    MarkdownFile file(c.text);
    EXPECT_EQ(file.frontmatterTags(), c.had);
    file.setTags(c.set);
    EXPECT_EQ(file.serialized(), c.written);
  }
}

TEST(MarkdownFile, SplitsOffTheHeadingAndPutsItBack) {
  for (const std::string text : {"# Plan\nrest\n", "# Plan\n", "no heading", "", "## Part\nrest", "#Plan"}) {
    const auto [heading, rest] = MarkdownFile::splitHeading(text);
    EXPECT_EQ(heading.has_value(), text.starts_with("# ")) << text;
    EXPECT_EQ(MarkdownFile::joinHeading(heading, rest), text);
  }
}

TEST(MarkdownTable, ReadsCellsAndAlignments) {
  using enum MarkdownTable::Alignment;
  const auto table =
      MarkdownTable::parse("| a | b\\|c | `d|e` | f |\n|:-:|--:|:--|---|\n|1|2|\n| 1 | 2 | 3 | 4 | 5 |\nend");
  ASSERT_TRUE(table);
  EXPECT_EQ(table->header, (Tags{"a", "b|c", "`d|e`", "f"}));
  EXPECT_EQ(table->alignments, (std::vector{center, right, left, none}));
  EXPECT_EQ(table->rows, (std::vector<Tags>{{"1", "2"}, {"1", "2", "3", "4"}}));
  for (const char* text : {"", "|a|", "a\n-", "|a|b|\n|-|", "|a|\n|x|", "|a|\n||"})
    EXPECT_FALSE(MarkdownTable::parse(text)) << text;
}

}  // namespace
}  // namespace vesk
