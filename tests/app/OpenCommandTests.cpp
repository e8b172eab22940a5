#include <sys/stat.h>

#include "core/base/Json.h"
#include "core/toolserver/AIAccess.h"
#include "core/vault/Vault.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

TEST(OpenCommand, KeepsTheRealPathAndLeavesTheVaultAsItIs) {
  const TemporaryFolder vault;
  vault.write("Loose/Plan.md", "# Plan\n");
  const std::string link = fs::path(vault.path()).parent_path() / "home/notes";
  fs::create_directory_symlink(vault.path(), link);
  fs::remove(vault.supportDirectory());

  const ProgramResult result = vesk({"open", link});

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output, StartsWith("Opened " + vault.path() + "\n  1 note in 1 folder\n"));
  EXPECT_THAT(result.output, HasSubstr("claude mcp add --scope user vesk -e VESK_SUPPORT_DIR=" +
                                       vault.supportDirectory() + " -- " VESK_BIN_DIR "/vesk-mcp\n"));
  EXPECT_EQ(AIAccess::load(vault.supportDirectory()).vaultPath, vault.path());
  struct stat attributes {};
  ASSERT_EQ(::stat(vault.supportDirectory().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 0777U, 0700U);
  EXPECT_THAT(vault.everything(), ElementsAre("Loose/", "Loose/Plan.md"));
}

TEST(OpenCommand, MakesTheFoldersOfEachMethod) {
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> folders;
    const char* locale = "C";
  };
  const Case cases[] = {
      {{"--method", "para"}, {"Archive", "Areas", "Inbox", "Notas", "Projects", "Resources"}},
      {{"--method", "vesk"}, {"Done", "In progress", "Inbox", "Knowledge", "Notas", "Sources"}},
      {{"--method", "ideas", "--language", "es"}, {"Archivo", "Fuentes", "Ideas", "Inbox", "Notas"}, "pt_BR.UTF-8"},
      {{"--method", "ideas"}, {"Arquivo", "Fontes", "Ideias", "Inbox", "Notas"}, "pt_BR.UTF-8"},
      {{"--method", "custom"}, {"Inbox", "Notas"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const TemporaryFolder vault;
    vault.write("Notas/Um.md", "um");
    std::vector<std::string> arguments = {"open", vault.path()};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());

    EXPECT_EQ(vesk(arguments, {.environment = {{"LC_ALL", c.locale}}}).exitStatus, 0);

    std::vector<std::string> folders;
    for (const FolderSummary& folder : Vault(vault.path()).folders()) folders.push_back(folder.path);
    EXPECT_EQ(folders, c.folders);
    const auto organization = Vault(vault.path()).organization();
    ASSERT_TRUE(organization);
    EXPECT_EQ(name(organization->method), c.arguments[1]);
    EXPECT_EQ(vault.read("Notas/Um.md"), "um");
  }
}

TEST(OpenCommand, SwitchesMethodsOnlyWhenToldTo) {
  const TemporaryFolder vault;
  ASSERT_EQ(vesk({"open", vault.path(), "--method", "para"}).exitStatus, 0);
  vault.write("Projects/Plan.md", "plan");
  vault.write("Projects/Idea.md", "mine");
  vault.write("In progress/Idea.md", "theirs");
  const std::string organization = vault.read(".vesk/organization.json");

  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"open", vault.path()}, {"open", vault.path(), "--method", "para"}}) {
    EXPECT_EQ(vesk(arguments).exitStatus, 0);
    EXPECT_EQ(vault.read(".vesk/organization.json"), organization);
    EXPECT_TRUE(vault.has("Projects/Plan.md"));
  }

  const ProgramResult result = vesk({"open", vault.path(), "--method", "vesk"});
  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output, StartsWith("moved: Projects/Plan.md → In progress/Plan.md\nstays: Projects/Idea.md "));
  EXPECT_EQ(vault.read("Projects/Idea.md"), "mine");
  EXPECT_EQ(vault.read("In progress/Plan.md"), "plan");
  EXPECT_FALSE(vault.has("Areas"));
  EXPECT_EQ(Vault(vault.path()).organization()->method, Organization::Method::vesk);
}

TEST(OpenCommand, RefusesWhatIsNoFolderAndKeepsTheVaultThatWasOpen) {
  const TemporaryFolder vault;
  vault.write("Plan.md", "plan");
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  for (const char* name : {"Missing", "Plan.md", "Plan.md/Sub"}) {
    SCOPED_TRACE(name);
    const ProgramResult result = vesk({"open", vault.at(name), "--method", "para"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.errors, AllOf(StartsWith("vesk: "), HasSubstr(vault.at(name)), testing::EndsWith(".\n")));
  }
  EXPECT_EQ(AIAccess::load(vault.supportDirectory()).vaultPath, vault.path());
  EXPECT_THAT(vault.everything(), ElementsAre("Plan.md"));
}

TEST(StatusCommand, TellsOfTheVaultAsJson) {
  const TemporaryFolder vault;
  vault.write("Inbox/One.md", "#blue #green");
  vault.write("Two.md", "#blue");
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);

  const Json status = Json::parse(vesk({"status", "--json"}).output);

  EXPECT_EQ(*status.find("vault"), Json(vault.path()));
  EXPECT_EQ(*status.find("notes"), Json(2));
  EXPECT_EQ(*status.find("folders"), Json(1));
  EXPECT_EQ(*status.find("tags"), Json(2));
  EXPECT_TRUE(status.find("method")->isNull());
  EXPECT_EQ(*status.find("level"), Json("always"));
  EXPECT_EQ(*status.find("support_directory"), Json(vault.supportDirectory()));
}

TEST(Commands, NeedAVaultThatIsThere) {
  const TemporaryFolder vault;
  const std::vector<std::vector<std::string>> commands = {{"status"}, {"notes"}, {"search", "x"}, {"watch"}};
  for (const auto& command : commands) {
    const ProgramResult result = vesk(command);
    EXPECT_EQ(result.exitStatus, 1) << command[0];
    EXPECT_EQ(result.errors, "vesk: No vault is open in Vesk. Open one with vesk open FOLDER.\n");
    EXPECT_THAT(result.output, IsEmpty());
  }
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  fs::remove_all(vault.path());
  for (const auto& command : commands) {
    const ProgramResult result = vesk(command);
    EXPECT_EQ(result.exitStatus, 1) << command[0];
    EXPECT_THAT(result.errors, HasSubstr(" is gone. ")) << command[0];
  }
}

TEST(Commands, AnswerWrongUseWithAHintAndStatusTwo) {
  const TemporaryFolder vault;
  struct Case {
    std::vector<std::string> arguments;
    const char* complaint;
    const char* hint;
  };
  const Case cases[] = {
      {{}, "vesk: A command is required", "vesk --help"},
      {{"bogus"}, "bogus", "vesk --help"},
      {{"open"}, "FOLDER", "vesk open --help"},
      {{"open", vault.path(), "--method", "other"}, "vesk,para,ideas,custom", "vesk open --help"},
      {{"open", vault.path(), "--language", "pt"}, "--method", "vesk open --help"},
      {{"notes", "--limit", "0"}, "0", "vesk notes --help"},
      {{"notes", "--limit", "-1"}, "-1", "vesk notes --help"},
      {{"notes", "surplus\x1b[2J"}, "surplus\uFFFD[2J", "vesk notes --help"},
      {{"access", "on", "canFly"}, "canReadEmail, ", "vesk access on --help"},
      {{"access", "level", "Trusted!"}, "Trusted!", "vesk access level --help"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const ProgramResult result = vesk(c.arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors, AllOf(StartsWith("vesk: "), HasSubstr(c.complaint), HasSubstr(c.hint)));
    EXPECT_THAT(result.output, IsEmpty());
  }
  EXPECT_EQ(vesk({"--version"}).output, "vesk 0.1.0\n");
  EXPECT_EQ(vesk({"search", "--help"}).exitStatus, 0);
}

}  // namespace

}  // namespace vesk::test
