#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownTable.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using Tags = std::vector<std::string>;

const std::vector<std::string> alphabet = {"---",
                                           "---\n",
                                           "--- \t\n",
                                           "---\r\n",
                                           "----\n",
                                           "\n",
                                           "\r\n",
                                           "\r",
                                           " ",
                                           "\uFEFF",
                                           "tags:",
                                           "[a, b]",
                                           "\n- x",
                                           "\n  - y",
                                           ":",
                                           "'\"",
                                           "#",
                                           "ü",
                                           "title: T",
                                           "text\n",
                                           "- ",
                                           "\xFF",
                                           std::string(1, '\0')};

TEST(MarkdownFile, GivesBackTheBytesItRead) {
  std::vector<std::string> texts = {"",
                                    "---",
                                    "---\n",
                                    "---\n---",
                                    "---\n---\n",
                                    "---\n---\nx",
                                    "---\r\n---\r\nx",
                                    "\uFEFF---\na: b\n---",
                                    " ---\t\n\n --- \nbody",
                                    "---\na\n----\nx"};
  const unsigned seed = 11;
  std::mt19937 random(seed);
  for (int i = 0; i < 5000; ++i) texts.push_back((i % 2 ? "---\n" : "") + test::randomText(random, alphabet, 16));
  for (const std::string& text : texts) {
    SCOPED_TRACE(testing::Message() << "seed " << seed << ": " << testing::PrintToString(text));
    MarkdownFile file(text);
    ASSERT_EQ(file.serialized(), text);
    file.setTags(file.frontmatterTags());
    ASSERT_EQ(file.serialized(), text) << "the tags it has";
  }
}

TEST(MarkdownFile, ChangesNothingButTheTags) {
  const unsigned seed = 12;
  std::mt19937 random(seed);
  for (int i = 0; i < 3000; ++i) {
    const std::string text = (i % 2 ? "---\n" : "") + test::randomText(random, alphabet, 16);
    SCOPED_TRACE(testing::Message() << "seed " << seed << ": " << testing::PrintToString(text));
    MarkdownFile file(text);
    const std::string body = file.body;
    const bool hasMark = text.starts_with("\uFEFF") && body.starts_with("\uFEFF");
    file.setTags({"new/tag", "zwei"});
    const MarkdownFile read(file.serialized());
    ASSERT_EQ(read.frontmatterTags(), (Tags{"new/tag", "zwei"}));
    ASSERT_EQ(read.body, hasMark ? body.substr(3) : body);
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
      {"---\ntags: []\nx: 1\n---\n", {}, {}, "---\ntags: []\nx: 1\n---\n"},
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
    MarkdownFile expected(c.written);
    EXPECT_EQ(MarkdownFile(file.serialized()).frontmatterTags(), expected.frontmatterTags());
    EXPECT_EQ(file.serialized(), c.written);
  }
}

TEST(MarkdownFile, FindsValuesByTheirExactKey) {
  const MarkdownFile file("---\ntitle : \"A: B\"\r\nTITLE: no\ntitle: later\nurl: http://x\nempty:\nno colon\n---\n");
  struct Case {
    const char* key;
    std::optional<std::string> value;
  };
  const Case cases[] = {{"title", "A: B"}, {"Title", std::nullopt},    {"url", "http://x"},
                        {"empty", ""},     {"no colon", std::nullopt}, {"", std::nullopt}};
  for (const Case& c : cases) EXPECT_EQ(file.value(c.key), c.value) << c.key;
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
  EXPECT_EQ(table->rows, (std::vector<Tags>{{"1", "2", "", ""}, {"1", "2", "3", "4"}}));
  for (const char* text : {"", "|a|", "a\n-", "|a|b|\n|-|", "|a|\n|x|", "|a|\n||"})
    EXPECT_FALSE(MarkdownTable::parse(text)) << text;
}

}  // namespace
}  // namespace vesk
