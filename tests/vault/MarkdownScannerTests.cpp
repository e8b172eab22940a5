#include <memory>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/Note.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using testing::ElementsAre;

std::unique_ptr<icu::RegexMatcher> matcher(const char* pattern, const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  auto made = std::make_unique<icu::RegexMatcher>(icu::UnicodeString::fromUTF8(pattern), text, 0, status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return made;
}

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

struct Match {
  std::size_t offset = 0;  // bytes
  std::string group = {};
  bool operator==(const Match&) const = default;
};

// The first group of every match, as ICU's own engine finds it.
std::vector<Match> matches(const char* pattern, const std::string& text) {
  const auto wide = icu::UnicodeString::fromUTF8(text);
  const auto engine = matcher(pattern, wide);
  std::vector<Match> found;
  UErrorCode status = U_ZERO_ERROR;
  while (engine->find(status) && U_SUCCESS(status))
    found.push_back({utf8(wide.tempSubString(0, engine->start(status))).size(), utf8(engine->group(1, status))});
  return found;
}

std::vector<std::string> linksByPattern(const std::string& text) {
  std::vector<std::string> targets;
  for (const Match& match : matches(R"(\[\[([^\]|#]+)(?:[#|][^\]]*)?\]\])", text))
    if (const auto target = text::trimSpaces(match.group); !target.empty()) targets.emplace_back(target);
  return targets;
}

std::string proseByLines(const std::string& text) {
  std::vector<std::string> kept;
  bool inFence = false;
  for (const std::string_view line : text::split(text, '\n')) {
    const bool isFence = text::trimBlanks(line).starts_with("```");
    if (isFence) inFence = !inFence;
    if (!isFence && !inFence) kept.emplace_back(line);
  }
  const auto joined = icu::UnicodeString::fromUTF8(text::join(kept, "\n"));
  UErrorCode status = U_ZERO_ERROR;
  return utf8(matcher("`[^`\n]+`", joined)->replaceAll(icu::UnicodeString(), status));
}

TEST(MarkdownScanner, AgreesWithItsPatternsOnRandomTexts) {
  const std::vector<std::string> alphabet = {"#",      "#",      "[[",     "]]",  "[",      "]",
                                             "|",      "`",      "`",      "```", "\n```",  "\n",
                                             "\r\n",   "\r",     "\t",     " ",   "a",      "Z",
                                             "7",      "_",      "/",      "-",   "\u00E9", "e\u0301",
                                             "\u0301", "\u200D", "\u200C", "中",  "Ⅷ",      "²",
                                             "٣",      "ⓐ",      "‿",      "ª",   "\u2028", "\u0085",
                                             "\u00A0", "\uFEFF", "😀",      "𝒳",   "ｆ",     std::string(1, '\0')};
  const unsigned seed = 20261121;
  std::mt19937 random(seed);
  for (int i = 0; i < 6000; ++i) {
    const std::string text = test::randomText(random, alphabet, 24);
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", text " << i << ": " << testing::PrintToString(text));
    EXPECT_EQ(markdown::links(text), linksByPattern(text));
    EXPECT_EQ(markdown::prose(text), proseByLines(text));
    std::vector<Match> tags;
    markdown::TagScanner scanner(text);
    while (const auto match = scanner.next()) tags.push_back({match->offset, std::string(match->tag)});
    ASSERT_EQ(tags, matches(R"((?<![\w/#])#([\p{L}][\p{L}\p{N}_/-]*))", text));
    ASSERT_FALSE(HasFailure());
  }
}

TEST(MarkdownScanner, FindsHeadingsAndPreviews) {
  struct Case {
    std::string body;
    std::optional<std::string> heading;
    std::string preview;
  };
  const Case cases[] = {
      {"", std::nullopt, ""},
      {"# Plan", "Plan", ""},
      {"\n## Part\n#  Plan \r\n", "Plan", ""},
      {"text\n # indented\n#tight\n#\tTab", std::nullopt, "text"},
      {"\uFEFF# Marked\n\n  first \r\nsecond", "Marked", "first"},
      {"# \n# Second", "", ""},
      {"\r\n \t\n- [ ] task", std::nullopt, "- [ ] task"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.body));
    EXPECT_EQ(markdown::firstHeading(c.body), c.heading);
    if (!c.body.starts_with("\uFEFF")) {
      EXPECT_EQ(markdown::preview(c.body), c.preview);
    }
  }
}

TEST(MarkdownScanner, StaysLinearOnWhatIsNeverClosed) {
  // Anything quadratic takes minutes here.
  const char* const shapes[] = {"[[a#", "[[",  "[[a]",  "[[|", "[[a|b]", "#",    "#a/",      "#a`",
                                "`",    "``a", "```\n", "`\n", "# \n",   "\r# ", "a\u0301#", "tags: [#a, "};
  for (const std::string shape : shapes) {
    SCOPED_TRACE(testing::PrintToString(shape));
    std::string text;
    while (text.size() < 1'000'000) text += shape;
    Note note;
    note.id = "Note.md";
    readNoteText(note, text);
    EXPECT_TRUE(note.links.empty());
    EXPECT_EQ(note.body, text);
    EXPECT_LE(markdown::prose(text).size(), text.size());
  }
}

TEST(MarkdownScanner, KeepsAHundredThousandTagsApart) {
  std::string text = "---\ntags: [";
  for (int i = 0; i < 50'000; ++i) text += "listed" + std::to_string(i) + ", ";
  text += "]\n---\n";
  for (int i = 0; i < 50'000; ++i) text += "#said" + std::to_string(i) + " #listed" + std::to_string(i) + "\n";
  Note note;
  note.id = "Note.md";
  readNoteText(note, text);
  EXPECT_EQ(note.tags.size(), 100'000u);
  EXPECT_EQ(note.tags.back(), "said49999");
}

TEST(Note, ReadsTitleTagsAndLinks) {
  struct Case {
    std::string text;
    std::string title;
    std::vector<std::string> tags = {};
    std::vector<std::string> links = {};
  };
  const Case cases[] = {
      {"---\ntitle: \"Quoted\"\n---\n# Heading", "Quoted"},
      {"---\ntitle: 'a: b'\r\n---\r\n", "a: b"},
      {"---\ntitle: \"\"\n---\n# Heading", "Heading"},
      {"---\ntitle: Never closed\n# Heading", "Heading"},
      {"## Only a part\ntext", "My file.v2"},
      {"---\ntags: [b, a]\n---\n#a #c #b #remind/1 #at/9 #attic #área/saúde",
       "My file.v2",
       {"b", "a", "c", "attic", "área/saúde"}},
      {"---\ntags: [at/9, remind/x, kept]\n---\n", "My file.v2", {"kept"}},
      {"C# a#b ##x #2024 /#y\n```\n#code\n```\n`#span` #real", "My file.v2", {"real"}},
      {"[[Projects/Plan|alias]] [[ Plan#Part]] `[[Code]]` [[|none]] [[ ]]",
       "My file.v2",
       {},
       {"Projects/Plan", "Plan", "Code"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Note note;
    note.id = "Folder/My file.v2.md";
    readNoteText(note, c.text);
    EXPECT_EQ(note.title, c.title);
    EXPECT_EQ(note.tags, c.tags);
    EXPECT_EQ(note.links, c.links);
    EXPECT_EQ(note.folderPath(), "Folder");
  }
}

}  // namespace
}  // namespace vesk
