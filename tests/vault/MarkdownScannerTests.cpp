#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/vault/MarkdownScanner.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using namespace std::string_view_literals;
using Strings = std::vector<std::string>;

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

// Every match as ICU's own engine finds it: its offset in bytes, and its first group.
using Match = std::pair<std::size_t, std::string>;
std::vector<Match> matches(const char* pattern, const std::string& text) {
  const auto wide = icu::UnicodeString::fromUTF8(text);
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(icu::UnicodeString::fromUTF8(pattern), wide, 0, status);
  std::vector<Match> found;
  while (matcher.find(status) && U_SUCCESS(status))
    found.emplace_back(utf8(wide.tempSubString(0, matcher.start(status))).size(), utf8(matcher.group(1, status)));
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return found;
}

Strings linksByPattern(const std::string& text) {
  Strings targets;
  for (const auto& [offset, group] : matches(R"(\[\[([^\]|#]+)(?:[#|][^\]]*)?\]\])", text))
    if (const auto target = text::trimSpaces(group); !target.empty()) targets.emplace_back(target);
  return targets;
}

Strings linksIn(const std::string& text) {
  const auto links = markdown::links(text);
  return {links.begin(), links.end()};
}

// As a note lists them: each once.
Strings tagsIn(const std::string& prose) {
  Strings tags;
  markdown::TagScanner scanner(prose);
  while (const auto match = scanner.next())
    if (std::ranges::count(tags, match->tag) == 0) tags.emplace_back(match->tag);
  return tags;
}

std::string proseByLines(const std::string& text) {
  Strings kept;
  bool inFence = false;
  for (const std::string_view line : text::split(text, '\n')) {
    const bool isFence = text::trim(line, " \t").starts_with("```");
    if (isFence) inFence = !inFence;
    if (!isFence && !inFence) kept.emplace_back(line);
  }
  const auto joined = icu::UnicodeString::fromUTF8(text::join(kept, "\n"));
  UErrorCode status = U_ZERO_ERROR;
  return utf8(icu::RegexMatcher("`[^`\n]+`", joined, 0, status).replaceAll(icu::UnicodeString(), status));
}

TEST(MarkdownScanner, AgreesWithItsPatternsOnRandomTexts) {
  const auto alphabet = text::split(
      "#~#~[[~]]~[~]~|~`~`~```~\n```~\n~\r\n~\r~\t~ ~a~Z~7~_~/~-~é~e\u0301~\u0301~\u200D~\u200C~中~Ⅷ~²~٣~ⓐ~‿~ª~"
      "\u2028~\u0085~\u00A0~\uFEFF~😀~𝒳~ｆ~\0"sv,
      '~');
  std::mt19937 random(20261121);
  for (int i = 0; i < 6000; ++i) {
    const std::string text = test::randomText(random, alphabet, 24);
    SCOPED_TRACE(testing::PrintToString(text));
    ASSERT_EQ(linksIn(text), linksByPattern(text));
    ASSERT_EQ(markdown::prose(text), proseByLines(text));
    std::vector<Match> tags;
    markdown::TagScanner scanner(text);
    while (const auto match = scanner.next()) tags.emplace_back(match->offset, match->tag);
    ASSERT_EQ(noteTags(MarkdownView(text)), tagsIn(markdown::prose(text)));
    ASSERT_EQ(tags, matches(R"((?<![\w/#])#([\p{L}][\p{L}\p{N}_/-]*))", text));
  }
}

TEST(MarkdownScanner, StaysLinearOnHostileTexts) {
  // Anything quadratic takes minutes here.
  Note note;
  note.id = "Note.md";
  for (const std::string shape : {"[[a#", "[[", "[[a]", "[[|", "[[a|b]", "#", "#a/", "#a`", "`", "``a", "```\n", "`\n",
                                  "# \n", "\r# ", "a\u0301#", "tags: [#a, "}) {
    SCOPED_TRACE(testing::PrintToString(shape));
    std::string text;
    while (text.size() < 1'000'000) text += shape;
    readNoteText(note, text);
    EXPECT_TRUE(note.links.empty());
    EXPECT_EQ(note.body, text);
    EXPECT_LE(markdown::prose(text).size(), text.size());
  }
  std::string closedAtTheEnd;
  while (closedAtTheEnd.size() < 8'000'000) closedAtTheEnd += "[[|";
  EXPECT_TRUE(markdown::links(closedAtTheEnd + "]]").empty());

  std::string listed;
  std::string said;
  for (int i = 0; i < 50'000; ++i) {
    listed += "listed" + std::to_string(i) + ", ";
    said += "#said" + std::to_string(i) + " #listed" + std::to_string(i) + "\n";
  }
  readNoteText(note, "---\ntags: [" + listed + "]\n---\n" + said);
  EXPECT_EQ(note.tags.size(), 100'000u);
  EXPECT_EQ(note.tags.back(), "said49999");
}

TEST(Note, ReadsTitleTagsAndLinks) {
  struct Case {
    std::string text;
    std::string title;
    Strings tags = {};
    Strings links = {};
    Strings linksInCode = {};
  };
  const std::string name = "My file.v2";
  const Case cases[] = {
      {"---\ntitle: 'a: b'\r\n---\r\n# Heading", "a: b"},
      {"---\ntitle: \"\"\n---\n# Heading", "Heading"},
      {"---\ntitle: Never closed\n# Heading", "Heading"},
      {"\n## Part\n#  Plan \r\n", "Plan"},
      {"\uFEFF# Marked\n# Second", "Marked"},
      {"text\n # indented\n#tight\n#\tTab", name, {"tight"}},
      {"---\ntags: [b, a, at/9]\n---\n#a #c #remind/1 #at/9 #attic #área/saúde",
       name,
       {"b", "a", "c", "attic", "área/saúde"}},
      {"C# a#b ##x #2024 /#y\n```\n#code\n```\n`#span` #real", name, {"real"}},
      {"[[Projects/Plan|alias]] [[ Plan#Part]] `[[Code]]` [[|none]] [[ ]]",
       name,
       {},
       {"Projects/Plan", "Plan", "Code"},
       {"Code"}},
      {"```\n[[ -f $file ]] && [[Plan]]\n```\n`[[Also|so]]` [[Plan]] `a` [[b` c`]] [[`d`]]",
       name,
       {},
       {"-f $file", "Plan", "Also", "Plan", "b` c`", "`d`"},
       {"-f $file", "Also"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Note note;
    note.id = "Folder/My file.v2.md";
    readNoteText(note, c.text);
    EXPECT_EQ(note.title, c.title);
    EXPECT_EQ(note.tags, c.tags);
    EXPECT_EQ(note.links.copied(), c.links);
    EXPECT_EQ(note.linksInCode, c.linksInCode);
  }
  EXPECT_EQ(markdown::preview("# Plan\n\n  first \r\nsecond"), "first");
}

}  // namespace
}  // namespace vesk
