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
    write("Inbox/Scratch.md", "# Scratch\nbuy seeds #garden\n");
    write("Projects/Garden/Plan.md", "# Garden plan\nfirst line\n\tthe Lemon  Tree, and a LEMON\n");
    write("Projects/Garden/Beds/Herbs.md", "---\ntags: [garden]\n---\nherbs\n");
    write("Projects/Gardening.md", "nothing else\n");
    vesk({"open", vault.path()});
  }

  void write(const char* path, const std::string& text) {
    vault.write(path, text);
    vault.setModified(path, day += 86'400);
  }

  // The paths of the notes that are listed.
  std::vector<std::string> listed(std::vector<std::string> options) {
    options.insert(options.begin(), {"notes", "--json"});
    const Json json = Json::parse(vesk(options).output);
    std::vector<std::string> paths;
    for (const Json& note : *json.find("notes")->array()) paths.push_back(*note.find("path")->string());
    return paths;
  }

  TemporaryFolder vault;
  long day = 1'700'000'000;
  const RunOptions terminal = {.environment = {{"NO_COLOR", "1"}}, .terminalColumns = 60};
};

TEST_F(NoteCommands, ListTheNewestFirstAndOnlyWhatIsAskedFor) {
  EXPECT_THAT(listed({}), ElementsAre("Projects/Gardening.md", "Projects/Garden/Beds/Herbs.md",
                                      "Projects/Garden/Plan.md", "Inbox/Scratch.md"));
  EXPECT_THAT(listed({"--folder", "Projects/Garden/"}),
              ElementsAre("Projects/Garden/Beds/Herbs.md", "Projects/Garden/Plan.md"));
  EXPECT_THAT(listed({"--tag", "#garden", "--folder", "Inbox"}), ElementsAre("Inbox/Scratch.md"));
  EXPECT_THAT(listed({"--unsorted"}), ElementsAre("Inbox/Scratch.md"));
  EXPECT_THAT(listed({"--tag", "none"}), IsEmpty());
  EXPECT_EQ(*Json::parse(vesk({"notes", "--json", "--limit", "1"}).output).find("total"), Json(4));

  const ProgramResult unknown = vesk({"notes", "--folder", "Projects/Gard"});
  EXPECT_EQ(unknown.exitStatus, 1);
  EXPECT_EQ(unknown.errors, "vesk: There is no folder Projects/Gard in the vault.\n");
}

TEST_F(NoteCommands, AlignTheirColumnsByWhatATerminalShows) {
  write("Inbox/Wide.md", "# 日本 e\u0301\n");
  EXPECT_EQ(vesk({"notes", "--folder", "Inbox"}, {.environment = {{"TZ", "UTC"}}}).output,
            "2023-11-19 22:13  日本 e\u0301   Inbox/Wide.md\n"
            "2023-11-15 22:13  Scratch  Inbox/Scratch.md\n");
}

TEST_F(NoteCommands, SearchShowsTheLineWithTheWords) {
  EXPECT_EQ(vesk({"search", "lemon"}).output,
            "Projects/Garden/Plan.md  Garden plan\n    the Lemon  Tree, and a LEMON\n");
  EXPECT_EQ(vesk({"search", "buy", "SEEDS"}).output, "Inbox/Scratch.md  Scratch\n    buy seeds #garden\n");
  EXPECT_EQ(vesk({"search", "status"}).output, "");  // a word here, though a command elsewhere
  const Json json = Json::parse(vesk({"search", "--json", "lemon"}).output);
  EXPECT_EQ(*json.find("notes")->array()->front().find("match"), Json("the Lemon  Tree, and a LEMON"));

  // Colour is for terminals that want it.
  EXPECT_THAT(vesk({"search", "lemon"}, {.environment = {{"NO_COLOR", ""}}, .terminalColumns = 100}).output,
              HasSubstr("the \x1b[1;33mLemon\x1b[0m  Tree, and a \x1b[1;33mLEMON\x1b[0m\n"));
  EXPECT_THAT(vesk({"search", "lemon"}, terminal).output, Not(HasSubstr("\x1b")));
}

TEST_F(NoteCommands, KeepWithinTheTerminalsWidth) {
  write("Inbox/Long.md", "# " + std::string(300, 'x') + "\n" + std::string(5'000, 'y') + " straße end\n");
  const std::string notes = vesk({"notes", "--folder", "Inbox"}, terminal).output;
  EXPECT_THAT(notes, HasSubstr("xxxxxxxx…"));
  for (std::size_t begin = 0; begin < notes.size(); begin = notes.find('\n', begin) + 1)
    EXPECT_LE(notes.find('\n', begin) - begin, 60U + 2);  // "…" takes three bytes
  EXPECT_THAT(vesk({"search", "STRASSE"}, terminal).output, HasSubstr("yy straße end\n"));
  EXPECT_THAT(vesk({"notes", "--folder", "Inbox"}).output, HasSubstr(std::string(300, 'x')));
}

TEST_F(NoteCommands, NothingInANoteCommandsTheTerminal) {
  const std::string hostile = "\x1b]0;owned\x07 \u009b2J \u202Egnp";
  vault.write("Inbox/a\x1b[31m\nb.md", "# T " + hostile + "\nwords " + hostile + " needle\n");
  const std::vector<std::string> commands[] = {
      {"notes", "--folder", "Inbox"}, {"search", "needle"}, {"notes", "--folder", hostile}};
  for (const RunOptions& options : {RunOptions{}, terminal})
    for (const std::vector<std::string>& arguments : commands) {
      const ProgramResult result = vesk(arguments, options);
      for (const char* control : {"\x1b", "\x07", "\u009b", "\u202E"})
        EXPECT_THAT(result.output + result.errors, Not(HasSubstr(control)));
      EXPECT_THAT(result.output + result.errors, HasSubstr("\uFFFD]0;owned\uFFFD \uFFFD2J \uFFFDgnp"));
    }
}

TEST_F(NoteCommands, SayWhenTheOutputCannotBeWritten) {
  const ProgramResult result = runProgram({"/bin/sh", "-c", VESK_BIN_DIR "/vesk notes >/dev/full"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.errors, "vesk: Can't write the output: No space left on device.\n");
}

}  // namespace

}  // namespace vesk::test
