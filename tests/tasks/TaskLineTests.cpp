#include <fmt/format.h>
#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/Note.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using namespace std::string_literals;
using TaskLine::Parts;

constexpr auto done = TaskStatus::done;
constexpr auto high = TaskPriority::high;
constexpr auto low = TaskPriority::low;

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

// Sets what a control tag says, given without its "#".
void setByTag(Parts& parts, const icu::UnicodeString& tag) {
  const int slash = tag.indexOf(u'/');
  const std::string key = utf8(tag.tempSubString(0, slash));
  const std::string value = utf8(tag.tempSubString(slash + 1));
  if (key == "status" && parts.status == TaskStatus::todo) parts.status = TaskStatus::doing;
  if (key == "due") parts.due = value;
  if (key == "prio") parts.priority = value == "high" ? high : low;
  if (key == "remind") parts.reminder = value;
  if (key == "at") parts.start = value;
  if (key == "block") parts.block = value;
  if (key == "dur") parts.duration = 0;
  for (int at = slash + 1; key == "dur" && at < tag.length(); at = tag.moveIndex32(at, 1))
    parts.duration = 10 * *parts.duration + u_charDigitValue(tag.char32At(at));
}

// The line as ICU's own engine takes it apart, and what stands behind its text. The first tag is taken out until there
// is none.
std::optional<std::pair<Parts, std::string>> byPattern(const std::string& line) {
  UErrorCode status = U_ZERO_ERROR;
  const auto wide = icu::UnicodeString::fromUTF8(line);
  icu::RegexMatcher box(R"(^(\s*)- \[([ xX])\] (.*)$)", wide, 0, status);
  if (!box.find(status)) return std::nullopt;
  Parts parts{.indent = utf8(box.group(1, status))};
  if (box.group(2, status) != icu::UnicodeString(' ')) parts.status = done;
  icu::UnicodeString rest = box.group(3, status);
  icu::RegexMatcher tag(
      R"((?<![\w/#])#(status/doing|due/\d{4}-\d{2}-\d{2}|prio/(?:high|low)|remind/\d{2}:\d{2}|dur/\d{1,4}|)"
      R"(at/\d{2}:\d{2}|block/[0-9a-f]{8})(?![\w/-]))",
      0, status);
  for (int earlier = 0; tag.reset(rest).find(); rest.remove(earlier, tag.end(status) - earlier)) {
    setByTag(parts, tag.group(1, status));
    EXPECT_LE(earlier, tag.start(status));  // so the last one found is the last one in the line
    earlier = tag.start(status);
  }
  icu::RegexMatcher blanks(R"(\s+)", rest, 0, status);
  parts.text = text::trimSpaces(utf8(blanks.replaceAll(" ", status)));
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return std::pair(parts, utf8(wide.tempSubString(box.end(3, status))));
}

TEST(TaskLine, TakesLinesApartAndWritesThem) {
  struct Case {
    std::string line;
    Parts parts;
    std::string written = line;
  };
  const Case cases[] = {
      {"- [X] Pay  rent #due/2026-11-05",
       {.status = done, .due = "2026-11-05", .text = "Pay rent"},
       "- [x] Pay rent #due/2026-11-05"},
      {" \t- [ ] #due/2026-11-05 #block/0123cdef #at/07:00 #dur/0 #prio/high#prio/low#remind/99:99 a \t #home\u00A0"
       "#due/2026-13-45#status/doing",
       {" \t", TaskStatus::doing, "2026-13-45", low, "99:99", 0, "07:00", "0123cdef", "a #home"},
       " \t- [ ] a #home #status/doing #due/2026-13-45 #remind/99:99 #prio/low #dur/0 #at/07:00 #block/0123cdef"},
      {"- [x] #status/doing #dur/0090", {.status = done, .duration = 90}, "- [x]  #dur/90"},
      {"- [ ] \r", {}, "- [ ] "},
      {"- [ ] (#dur/5), #dur/6.", {.duration = 6, .text = "(), ."}, "- [ ] (), . #dur/6"},
      {"- [ ] a#dur/5 /#dur/5 ##dur/5 #dur/12345 #dur/5/b #dur/5-6 #prio/highest #block/0123CDEF #Due/2026-11-05",
       {.text = "a#dur/5 /#dur/5 ##dur/5 #dur/12345 #dur/5/b #dur/5-6 #prio/highest #block/0123CDEF #Due/2026-11-05"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const auto parts = TaskLine::parse(c.line);
    ASSERT_TRUE(parts);
    EXPECT_EQ(*parts, c.parts);
    EXPECT_EQ(TaskLine::render(*parts), c.written);
  }
  for (const char* line : {"", "- [ ]", "* [ ] a", "+ [ ] a", "1. [ ] a", "-  [ ] a", "- [-] a", "- [] a", "- [ ]a",
                           "a - [ ] b", "\uFEFF- [ ] a", "- [ ] a\rb", "- [ ] a\n\n", "- [ ] a\u2028b"})
    EXPECT_FALSE(TaskLine::parse(line)) << line;
}

TEST(TaskLine, AgreesWithItsPatternsOnRandomLines) {
  const auto pieces = text::split(
      "#due/2026-11-05~#due/2026-1٠-٠5~#prio/high~#prio/low~#status/doing~#remind/12:30~#at/1٢:3𝟘~#block/0a1b2c3d~"
      "#dur/5~#dur/~1~٣~𝟘~#~/~-~a~ב~_~\u0301~\u200D~👩‍💻~[[Plan|it]]~#home~.~ ~ ~ ~ ~\t~\u00A0",
      '~');
  const auto ends =
      text::split(" ~\t~\u3000~\r~\n~\v~\f~\u0085~\u2028~\u2029~\uFEFF~- [~- [ ] ~- [x] ~- [X] ~] ~x~X", '~');
  std::mt19937 random(20261121);
  int tasks = 0;
  int tagged = 0;
  for (int i = 0; i < 20'000; ++i) {
    const bool isWild = random() % 4 == 0;
    const std::string line = (isWild ? test::randomText(random, ends, 4) : "") + (i % 2 == 0 ? "- [ ] " : "- [x] ") +
                             test::randomText(random, pieces, 12) + (isWild ? test::randomText(random, ends, 2) : "");
    SCOPED_TRACE(testing::PrintToString(line));
    const auto parts = TaskLine::parse(line);
    const auto expected = byPattern(line);
    ASSERT_EQ(parts.has_value(), expected.has_value());
    if (!parts) continue;
    ASSERT_EQ(*parts, expected->first);
    ASSERT_EQ(TaskLine::ending(line), expected->second);
    ASSERT_EQ(TaskLine::parse(TaskLine::render(*parts)), *parts);
    ++tasks;
    if (*parts != Parts{.indent = parts->indent, .status = parts->status, .text = parts->text}) ++tagged;
  }
  EXPECT_GT(tasks, 15'000);
  EXPECT_GT(tagged, 6'000);
}

TEST(TaskLine, ReadsTheTasksOfANote) {
  const std::string front = "---\ntitle: List\n- [ ] in the front matter\n---\n";
  const std::string body =
      "# List\n\n- [ ] first #due/2026-11-05\n  \t- [x] second\n```\n- [ ] code\n ```c\n> - [ ] quoted\n* [ ] star\n"
      "- [ ] third\n\n```\n- [ ] code to the end";
  for (const char* lineBreak : {"\n", "\r\n"})
    for (const auto& [above, first] : {std::pair(""s, 0u), std::pair(front, 4u), std::pair("\uFEFF" + front, 4u)}) {
      const std::string text = text::withLineBreaks(above + body, lineBreak);
      SCOPED_TRACE(testing::PrintToString(text));
      std::string found;
      const auto tasks = TaskLine::tasks(text, {"Inbox/List.md", "List"});
      for (const TaskItem& task : tasks) {
        EXPECT_EQ(task.rawLine, text::split(text, '\n')[task.line]);
        found += fmt::format("{} {}\n", task.line - first, task.text);
      }
      EXPECT_EQ(found, "2 first\n3 second\n9 third\n");
      Note note{.id = "Inbox/List.md"};
      readNoteText(note, text);
      EXPECT_EQ(note.tasks(), tasks);
      EXPECT_EQ(note.openTasks(), (std::vector<std::string>{"first", "third"}));
      EXPECT_EQ(note.doneTaskCount(), 1u);
    }
  EXPECT_EQ(TaskLine::tasks("---\n- [ ] never closed", {}).front().line, 1u);

  const std::string line =
      "- [X] [[Lists/Plan#Goal| it ]][[B#C]] [[B| ]] [[ Ana |a|b]] [[ ]] [[|c]] #home `#code` #due/2026-11-05 #área/x "
      "[[";
  const TaskItem expected{.noteID = "Inbox/List.md",
                          .noteTitle = "The list",
                          .folderPath = "Inbox",
                          .bucket = Bucket::inbox,
                          .line = 1,
                          .rawLine = line,
                          .status = done,
                          .due = "2026-11-05",
                          .text = TaskLine::parse(line)->text,
                          .title = "itB B a|b [[ ]] [[|c]] #home `#code` #área/x [[",
                          .tags = {"home", "área/x"},
                          .linkedNote = "Lists/Plan"};
  const auto tasks = TaskLine::tasks("\n" + line, {"Inbox/List.md", "The list", Bucket::inbox});
  EXPECT_EQ(tasks, std::vector{expected});
  EXPECT_EQ(expected.id(), "Inbox/List.md#1");
}

TEST(TaskLine, StaysRightOnHostileLines) {
  const auto repeated = [](std::size_t count, std::string_view piece) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += piece;
    return all;
  };
  const std::string word(1'000'000, 'a');
  const std::pair<std::string, Parts> cases[] = {
      {word + " #dur/7 " + word, {.duration = 7, .text = word + " " + word}},
      {repeated(250, "#prio/high ") + repeated(250, "#at/08:00 #prio/low "), {.priority = low, .start = "08:00"}},
      {repeated(100'000, "#due/2026-11-05") + "#due/2026-11-06", {.due = "2026-11-06"}},
      {repeated(100'000, "#due/2026-11-"), {.text = repeated(100'000, "#due/2026-11-")}},
      {repeated(300'000, " \t\u3000") + "b", {.text = "b"}},
  };
  for (const auto& [text, parts] : cases) EXPECT_TRUE(TaskLine::parse("- [ ] " + text) == parts) << text.substr(0, 20);
  EXPECT_EQ(TaskLine::tasks(repeated(100'000, "- [ ] a\n"), {}).back().line, 99'999u);
}

}  // namespace
}  // namespace vesk
