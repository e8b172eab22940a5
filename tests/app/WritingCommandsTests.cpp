#include <algorithm>

#include <fmt/format.h>

#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class WritingCommands : public testing::Test {
 protected:
  WritingCommands() { vesk({"open", vault.path(), "--method", "para"}); }

  // On a terminal, with that command as the editor.
  std::string edit(const std::string& arguments, const std::string& editor) {
    return runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk " + arguments, "/dev/null"},
                      {.environment = {{"VISUAL", editor}}})
        .output;
  }

  bool isAnywhere(const std::string& text) {
    return std::ranges::any_of(vault.contents(), [&](const auto& file) { return file.second == text; });
  }

  TemporaryFolder vault;
};

TEST_F(WritingCommands, MakeADaysNoteAndWriteIntoIt) {
  const std::string note = "Areas/Journal/2026-11-23.md";
  const RunOptions inPortuguese = {.environment = {{"LC_ALL", "pt_PT.UTF-8"}}};
  EXPECT_EQ(vesk({"journal", "--day", "2026-11-23"}, inPortuguese).output, note + "\n");
  EXPECT_EQ(vesk({"journal", "Met", "Ana", "--day", "2026-11-23"}).output, "Added to " + note + "\n");
  vesk({"journal", "--day", "2026-11-23", "Lunch\nTea"});
  const std::string text = "# 2026-11-23\n\n## Notas\n\nMet Ana\nLunch\nTea\n\n## Tarefas\n\n- [ ] \n";
  EXPECT_EQ(vault.read(note), text);

  EXPECT_THAT(edit("journal --day 2026-11-23", "echo more >>"), HasSubstr("Saved " + note));
  EXPECT_EQ(vault.read(note), text + "more\n");
  edit("journal --day 2026-11-24", "true");
  EXPECT_THAT(vault.read("Areas/Journal/2026-11-24.md"), StartsWith("# 2026-11-24\n\n## Notes\n"));
  EXPECT_EQ(vesk({"journal", " "}).exitStatus, 1);
}

TEST_F(WritingCommands, AddALineToADaysNoteOfAnyForm) {
  struct Case {
    const char* before;
    const char* after;
  };
  const Case cases[] = {
      {"", "new\n"},
      {"Monday.", "Monday.\nnew\n"},
      {"- [ ] a\r\n", "- [ ] a\r\nnew\r\n"},
      {"## Notes", "## Notes\nnew\n"},
      {"## Notes\r\na\r\n\r\n", "## Notes\r\na\r\nnew\r\n\r\n"},
      {"## Tasks\n## Notes\n## More\n", "## Tasks\n## Notes\nnew\n## More\n"},
      {"## Notas\n\na\n\n```\n# b\n```\n\n\n## Tareas\n", "## Notas\n\na\n\n```\n# b\n```\nnew\n\n\n## Tareas\n"},
  };
  for (const auto& [before, after] : cases) {
    vault.write("Areas/Journal/2026-11-23.md", before);
    EXPECT_EQ(vesk({"journal", "new", "--day", "2026-11-23"}).exitStatus, 0);
    EXPECT_EQ(vault.read("Areas/Journal/2026-11-23.md"), after);
  }
}

TEST_F(WritingCommands, CaptureEveryCharacterAndReplaceNoNote) {
  struct Case {
    std::string input;
    std::string name;
    std::string text;
  };
  const std::string words = "One two three four five six seven eight nine ten eleven";
  const Case cases[] = {
      {"Plan\r\n\r\n  the rest\r\n\r\n", "Plan", "  the rest\r\n"},
      {"\n\nPlan", "Plan 2", "Plan\n"},
      {"Soil #garden?\nrest", "Soil garden", "Soil #garden?\nrest\n"},
      {"- [ ] Buy milk", "Buy milk", "- [ ] Buy milk\n"},
      {"# A: b\ntext", "A b", "# A: b\ntext\n"},
      {words + " twelve\nrest", "One two three four five six seven eight nine ten eleven", words + " twelve\nrest\n"},
      {std::string(300, 'x'), std::string(60, 'x'), std::string(300, 'x') + "\n"},
      {"---\ntitle: Mine\n---\ntext", "Mine", "---\ntitle: Mine\n---\ntext\n"},
      {"Shown\n---\na: b\n---\n", "Shown", "Shown\n---\na: b\n---\n"},
      {"???", "Untitled", "???\n"},
  };
  for (const Case& c : cases) {
    const std::string path = fmt::format("Inbox/{}.md", c.name);
    EXPECT_EQ(vesk({"capture"}, {.input = c.input}).output, path + "\n");
    EXPECT_EQ(vault.read(path), c.text);
  }
  EXPECT_EQ(vesk({"capture", "Call", "Ana"}).output, "Inbox/Call Ana.md\n");
  vesk({"capture", "[[Ana]]"});
  EXPECT_EQ(vault.read("Inbox/Ana.md"), "[[Ana]]\n");
  EXPECT_EQ(vesk({"capture"}, {.input = " \n"}).errors, "vesk: A note needs some text.\n");
  EXPECT_EQ(vesk({"capture"}, {.input = "\xFF"}).errors, "vesk: The text isn't UTF-8.\n");
}

TEST_F(WritingCommands, EditTheNoteThatIsMeant) {
  vault.write("Projects/a.md", "# Lemon Tree\n");
  vault.write("Projects/Fig.md", "# Lemon tree\n");
  vault.write("Areas/Fig.md", "fig\n");
  EXPECT_THAT(edit("edit Lemon tree", "echo fig >>"), HasSubstr("Saved Projects/Fig.md"));
  EXPECT_THAT(edit("edit A.md", "echo a >>"), HasSubstr("Saved Projects/a.md"));
  EXPECT_THAT(edit("edit Areas/Fig", "true"), HasSubstr("Nothing was changed."));
  EXPECT_THAT(vesk({"edit", "fig"}).errors, StartsWith("vesk: Several notes are named fig. Write the path of one: "));
  EXPECT_THAT(vesk({"edit", "plum"}).errors, StartsWith("vesk: There is no note plum in the vault."));
  EXPECT_EQ(vesk({"edit", "Areas/Fig.md"}).errors, "vesk: Editing needs a terminal.\n");

  const std::string theirs = "echo theirs > '" + vault.at("Areas/Fig.md") + "'; echo mine >";
  EXPECT_THAT(edit("edit Areas/Fig", theirs), HasSubstr("This note changed outside Vesk. Your text is kept in "));
  EXPECT_EQ(vault.read("Areas/Fig.md"), "theirs\n");
  EXPECT_TRUE(isAnywhere("mine\n"));
}

}  // namespace

}  // namespace vesk::test
