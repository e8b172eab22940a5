#include "core/base/Json.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// A vault that is open in Vesk, its notes edited a day after each other.
class NoteCommands : public testing::Test {
 protected:
  NoteCommands() {
    const char* texts[][2] = {
        {"Inbox/Scratch.md", "# Scratch\nbuy seeds #garden\n"},
        {"Projects/Garden/Plan.md", "# Garden plan\nfirst line\n\tthe Lemon  Tree, and a LEMON\n"},
        {"Projects/Garden/Beds/Herbs.md", "---\ntags: [garden]\n---\nherbs\n"},
        {"Projects/Gardening.md", "nothing else\n"},
    };
    long day = 1'700'000'000;
    for (const auto& [path, text] : texts) {
      vault.write(path, text);
      vault.setModified(path, day += 86'400);
    }
    vesk({"open", vault.path()});
  }

  std::vector<std::string> paths(const std::vector<std::string>& arguments) {
    std::vector<std::string> paths;
    const Json json = Json::parse(vesk(arguments).output);
    for (const Json& note : *json.find("notes")->array()) paths.push_back(*note.find("path")->string());
    return paths;
  }

  TemporaryFolder vault;
};

TEST_F(NoteCommands, ListTheNewestFirstAndOnlyWhatIsAskedFor) {
  EXPECT_THAT(paths({"notes", "--json"}), ElementsAre("Projects/Gardening.md", "Projects/Garden/Beds/Herbs.md",
                                                      "Projects/Garden/Plan.md", "Inbox/Scratch.md"));
  EXPECT_THAT(paths({"notes", "--json", "--folder", "Projects/Garden/"}),
              ElementsAre("Projects/Garden/Beds/Herbs.md", "Projects/Garden/Plan.md"));
  EXPECT_THAT(paths({"notes", "--json", "--tag", "#garden", "--folder", "Inbox"}), ElementsAre("Inbox/Scratch.md"));
  EXPECT_THAT(paths({"notes", "--json", "--unsorted"}), ElementsAre("Inbox/Scratch.md"));
  EXPECT_THAT(paths({"notes", "--json", "--tag", "none"}), IsEmpty());

  const Json cut = Json::parse(vesk({"notes", "--json", "--limit", "1"}).output);
  EXPECT_EQ(cut.find("notes")->array()->size(), 1U);
  EXPECT_EQ(*cut.find("total"), Json(4));

  const ProgramResult unknown = vesk({"notes", "--folder", "Projects/Gard"});
  EXPECT_EQ(unknown.exitStatus, 1);
  EXPECT_EQ(unknown.errors, "vesk: There is no folder Projects/Gard in the vault.\n");
}

TEST_F(NoteCommands, AlignTheirColumnsByWhatATerminalShows) {
  vault.write("Inbox/Wide.md", "# 日本 e\u0301\n");
  vault.setModified("Inbox/Wide.md", 1'800'000'000);
  const std::string output = vesk({"notes", "--folder", "Inbox"}, {.environment = {{"TZ", "UTC"}}}).output;
  EXPECT_EQ(output,
            "2027-01-15 08:00  日本 e\u0301   Inbox/Wide.md\n"
            "2023-11-15 22:13  Scratch  Inbox/Scratch.md\n");
}

TEST_F(NoteCommands, SearchShowsTheLineWithTheWords) {
  EXPECT_EQ(vesk({"search", "lemon"}).output,
            "Projects/Garden/Plan.md  Garden plan\n    the Lemon  Tree, and a LEMON\n");
  EXPECT_EQ(vesk({"search", "buy", "SEEDS"}).output, "Inbox/Scratch.md  Scratch\n    buy seeds #garden\n");
  EXPECT_EQ(vesk({"search", "nowhere"}).output, "");
  EXPECT_EQ(vesk({"search", "status"}).exitStatus, 0);  // a word here, though a command elsewhere
  const Json json = Json::parse(vesk({"search", "--json", "lemon"}).output);
  EXPECT_EQ(*json.find("notes")->array()->front().find("match"), Json("the Lemon  Tree, and a LEMON"));
}

TEST_F(NoteCommands, ColourIsForTerminalsThatWantIt) {
  const RunOptions terminal = {.environment = {{"NO_COLOR", ""}}, .terminalColumns = 100};
  const RunOptions plain = {.environment = {{"NO_COLOR", "1"}}, .terminalColumns = 100};
  EXPECT_THAT(vesk({"search", "lemon"}, terminal).output,
              HasSubstr("the \x1b[1;33mLemon\x1b[0m  Tree, and a \x1b[1;33mLEMON\x1b[0m\n"));
  EXPECT_THAT(vesk({"search", "lemon"}, plain).output, Not(HasSubstr("\x1b")));
  EXPECT_THAT(vesk({"search", "lemon"}).output, Not(HasSubstr("\x1b")));
}

TEST_F(NoteCommands, KeepWithinTheTerminalsWidth) {
  vault.write("Inbox/Long.md", "# " + std::string(300, 'x') + "\n" + std::string(5'000, 'y') + " straße end\n");
  const RunOptions narrow = {.environment = {{"NO_COLOR", "1"}}, .terminalColumns = 60};
  const std::string notes = vesk({"notes", "--folder", "Inbox"}, narrow).output;
  EXPECT_THAT(notes, HasSubstr("xxxxxxxx…"));
  for (std::size_t begin = 0; begin < notes.size(); begin = notes.find('\n', begin) + 1)
    EXPECT_LE(notes.find('\n', begin) - begin, 60U + 2);  // "…" takes three bytes
  EXPECT_THAT(vesk({"search", "STRASSE"}, narrow).output, HasSubstr("yy straße end\n"));
  EXPECT_THAT(vesk({"notes", "--folder", "Inbox"}).output, HasSubstr(std::string(300, 'x')));
}

TEST_F(NoteCommands, NothingInANoteCommandsTheTerminal) {
  const std::string hostile = "\x1b]0;owned\x07 \u009b2J \u202Egnp";
  vault.write("Inbox/a\x1b[31m\nb.md", "# T " + hostile + "\nwords " + hostile + " needle\n");
  for (const RunOptions& options :
       {RunOptions{}, RunOptions{.environment = {{"NO_COLOR", "1"}}, .terminalColumns = 80}})
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"notes", "--folder", "Inbox"},
                                                      {"search", "needle"},
                                                      {"notes", "--folder", hostile}}) {
      const ProgramResult result = vesk(arguments, options);
      for (const char* control : {"\x1b", "\x07", "\u009b", "\u202E"})
        EXPECT_THAT(result.output + result.errors, Not(HasSubstr(control)));
      EXPECT_THAT(result.output + result.errors, HasSubstr("\uFFFD]0;owned\uFFFD \uFFFD2J \uFFFDgnp"));
    }
  EXPECT_EQ(Json::parse(vesk({"notes", "--json"}).output).find("total")->integer(), 5);
}

TEST_F(NoteCommands, SayWhenTheOutputCannotBeWritten) {
  const ProgramResult result = runProgram({"/bin/sh", "-c", VESK_BIN_DIR "/vesk notes >/dev/full"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.errors, "vesk: Can't write the output: No space left on device.\n");
}

}  // namespace

}  // namespace vesk::test
