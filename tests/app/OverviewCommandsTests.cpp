#include <algorithm>

#include "core/base/Json.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class OverviewCommands : public testing::Test {
 protected:
  OverviewCommands() {
    vault.write("Projects/Garden/Context.md", "---\nvesk: true\n---\nGrow lemons.\n");
    vault.write("Projects/Garden/Plan.md", "See [[Rosees]], [[Roses]].\n- [x] Dig #soil\n- [ ] Plant\n");
    vault.write("Projects/Attic/Old.md", "Nothing #soil\n");
    vault.write("Areas/Home/Roses.md", "Red\n");
    vault.write("Areas/Home/Blank.md", "");
    vault.write("Loose.md", "Where to?\n");
    for (const char* quiet : {"Projects/Attic/Old.md", "Areas/Home/Roses.md", "Areas/Home/Blank.md"})
      vault.setModified(quiet, 1'700'000'000);
    vesk({"open", vault.path()});
  }

  std::string output(const std::vector<std::string>& arguments) {
    return vesk(arguments, {.environment = {{"TZ", "UTC"}}}).output;
  }

  // On a terminal, with that command as the editor.
  std::string edit(const std::string& project, const std::string& editor) {
    const std::string command = VESK_BIN_DIR "/vesk context " + project + " --edit";
    return runProgram({"/usr/bin/script", "-qec", command, "/dev/null"},
                      {.environment = {{"VISUAL", editor}, {"LC_ALL", "pt_PT.UTF-8"}}})
        .output;
  }

  bool isAnywhere(const std::string& text) {
    return std::ranges::any_of(vault.contents(), [&](const auto& file) { return file.second == text; });
  }

  TemporaryFolder vault;
};

TEST_F(OverviewCommands, TellWhatWaitsAndWhatIsQuiet) {
  const std::string text = output({"overview"});
  EXPECT_THAT(text, HasSubstr("1 note waits to be sorted: vesk notes --unsorted\nThe next review is "));
  EXPECT_THAT(text, HasSubstr("\nStalled projects\n  Attic  quiet for "));
  EXPECT_THAT(text, HasSubstr("\nAreas you haven't touched in 30 days\n  Home  quiet for "));
  EXPECT_THAT(text, HasSubstr("  Garden  ██████████░░░░░░░░░░  1 open, 1 done  changed today\n"));
  EXPECT_THAT(text, AllOf(HasSubstr(" 6\n"), HasSubstr("██\n")));  // all of them were made today
  const Json json = Json::parse(output({"overview", "--json", "--limit", "1"}));
  EXPECT_EQ(json.find("notes_saved_per_day")->object()->size(), 15U);
  EXPECT_EQ(json.find("notes_saved_per_day")->object()->rbegin()->second, Json(6));
  EXPECT_EQ(*json.find("projects_total"), Json(2));
  EXPECT_EQ(*json.find("projects")->array()->at(0).find("status"), Json("Stalled"));

  EXPECT_THAT(output({"projects"}), AllOf(StartsWith("Attic   Stalled  1 note   no tasks        2023-11-14 22:13\n"
                                                     "Garden  Active   2 notes  1 open, 1 done  ")));
  EXPECT_EQ(output({"areas"}), "Home  2 notes  no tasks  2023-11-14 22:13\n");
  EXPECT_EQ(vesk({"topics"}).errors, "There are no topics in this vault.\n");
}

TEST_F(OverviewCommands, ShowConnectionsAndFindings) {
  EXPECT_EQ(output({"map"}),
            "Projects/Attic — Projects/Garden\n    tags in common: #soil\n    #soil is on \"Old\" and \"Plan\"\n"
            "Projects/Garden — Areas/Home\n    1 link there, 0 back\n    \"Plan\" links to \"Roses\"\n");
  EXPECT_EQ(output({"health"}),
            "3 findings worth a look.\n"
            "\nBroken links (1)\n"
            "  Projects/Garden/Plan.md  [[Rosees]] leads to no note. The nearest name is \"Roses\".\n"
            "\nProjects with no context (1)\n"
            "  Projects/Attic  1 note and no Context.md.\n"
            "  To write one: vesk context PROJECT --edit\n"
            "\nEmpty notes (1)\n"
            "  Areas/Home/Blank.md\n");
  const Json json = Json::parse(output({"health", "--json"}));
  EXPECT_EQ(*json.find("issues")->array()->front().find("kind"), Json("broken_link"));
  EXPECT_EQ(*json.find("counts")->find("stale"), Json(0));
}

TEST_F(OverviewCommands, QueryByLines) {
  EXPECT_EQ(output({"query", "tag:soil", "folder:projects/attic"}), "2023-11-14 22:13  Old  Projects/Attic/Old.md\n");
  const Json json = Json::parse(output({"query", "sort:title", "limit:1", "--json"}));
  EXPECT_EQ(*json.find("total"), Json(6));
  EXPECT_EQ(*json.find("notes")->array()->at(0).find("title"), Json("Blank"));
  EXPECT_EQ(vesk({"query", "folder:Cellar"}).errors, "vesk: There is no folder Cellar in the vault.\n");
  EXPECT_THAT(vesk({"query", "colour:red"}).errors, StartsWith("vesk: \"colour:red\" is no line of a query."));
}

TEST_F(OverviewCommands, ShowAndEditAContext) {
  EXPECT_EQ(output({"context", "garden"}), "Grow lemons.\n");
  EXPECT_THAT(vesk({"context", "Attic"}).errors, StartsWith("vesk: Projects/Attic has no context note yet."));
  EXPECT_THAT(vesk({"context", "Cellar"}).errors, StartsWith("vesk: There is no project Cellar."));
  EXPECT_EQ(vesk({"context", "Garden", "--edit"}).errors, "vesk: Editing needs a terminal.\n");

  EXPECT_THAT(edit("Garden", "sed -i s/lemons/limes/"), HasSubstr("Saved Projects/Garden/Context.md"));
  EXPECT_EQ(vault.read("Projects/Garden/Context.md"), "---\nvesk: true\n---\nGrow limes.\n");
  EXPECT_THAT(edit("Attic", "true"), HasSubstr("Nothing was changed."));
  EXPECT_FALSE(vault.has("Projects/Attic/Context.md"));
  edit("Attic", "echo Fim >>");
  EXPECT_THAT(vault.read("Projects/Attic/Context.md"),
              AllOf(StartsWith("---\nvesk: true\n---\n"), HasSubstr("Objetivo"), HasSubstr("Fim")));
}

TEST_F(OverviewCommands, LoseNothingThatWasEdited) {
  const std::string note = vault.at("Projects/Garden/Context.md");
  EXPECT_THAT(edit("Garden", "echo theirs > '" + note + "'; echo mine >"),
              HasSubstr("This note changed outside Vesk. Your text is kept in " + vault.supportDirectory() + "/edit-"));
  EXPECT_EQ(vault.read("Projects/Garden/Context.md"), "theirs\n");
  EXPECT_TRUE(isAnywhere("mine\n"));
  EXPECT_THAT(edit("Garden", "f() { echo late > $1; false; }; f"), HasSubstr("The editor ended with status 1. Your"));
  EXPECT_TRUE(isAnywhere("late\n"));
  EXPECT_THAT(edit("Garden", "false"), AllOf(HasSubstr("The editor ended with status 1."), Not(HasSubstr("Your"))));
}

}  // namespace

}  // namespace vesk::test
