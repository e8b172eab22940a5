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
  EXPECT_THAT(result.output, HasSubstr("\n  vesk connect claude-code\n"));
  EXPECT_EQ(AIAccess::load(vault.supportDirectory()).vaultPath, vault.path());
  struct stat attributes {};
  ASSERT_EQ(::stat(vault.supportDirectory().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 0777U, 0700U);
  EXPECT_THAT(vault.everything(), ElementsAre("Loose/", "Loose/Plan.md"));
}

TEST(OpenCommand, MakesTheFoldersOfEachMethod) {
  const auto check = [](std::vector<std::string> options, const char* locale,
                        const std::vector<std::string>& expected) {
    SCOPED_TRACE(testing::PrintToString(options));
    const TemporaryFolder vault;
    vault.write("Notas/Um.md", "um");
    const std::string method = options[0];
    options.insert(options.begin(), {"open", vault.path(), "--method"});
    EXPECT_EQ(vesk(options, {.environment = {{"LC_ALL", locale}}}).exitStatus, 0);

    std::vector<std::string> folders;
    for (const FolderSummary& folder : Vault(vault.path()).folders()) folders.push_back(folder.path);
    EXPECT_EQ(folders, expected);
    EXPECT_EQ(name(Vault(vault.path()).organization().value().method), method);
    EXPECT_EQ(vault.read("Notas/Um.md"), "um");
  };
  check({"para"}, "C", {"Archive", "Areas", "Inbox", "Notas", "Projects", "Resources"});
  check({"vesk"}, "C", {"Done", "In progress", "Inbox", "Knowledge", "Notas", "Sources"});
  check({"ideas", "--language", "es"}, "pt_BR.UTF-8", {"Archivo", "Fuentes", "Ideas", "Inbox", "Notas"});
  check({"ideas"}, "pt_BR.UTF-8", {"Arquivo", "Fontes", "Ideias", "Inbox", "Notas"});
  check({"custom"}, "C", {"Inbox", "Notas"});
}

TEST(OpenCommand, SwitchesMethodsOnlyWhenToldTo) {
  const TemporaryFolder vault;
  ASSERT_EQ(vesk({"open", vault.path(), "--method", "para"}).exitStatus, 0);
  vault.write("Projects/Plan.md", "plan");
  vault.write("Projects/Idea.md", "mine");
  vault.write("In progress/Idea.md", "theirs");
  const std::string organization = vault.read(".vesk/organization.json");
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  ASSERT_EQ(vesk({"open", vault.path(), "--method", "para"}).exitStatus, 0);
  EXPECT_EQ(vault.read(".vesk/organization.json"), organization);
  EXPECT_TRUE(vault.has("Projects/Plan.md"));

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
  EXPECT_EQ(*status.find("support_directory"), Json(vault.supportDirectory()));
  EXPECT_EQ(*status.find("notes"), Json(2));
  EXPECT_EQ(*status.find("tags"), Json(2));
  EXPECT_TRUE(status.find("method")->isNull());
}

TEST(Commands, NeedAVaultThatIsThere) {
  const TemporaryFolder vault;
  const auto check = [](const std::string& sentence) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"status"},
                                                    {"notes"},
                                                    {"search", "x"},
                                                    {"journal", "x"},
                                                    {"capture", "x"},
                                                    {"edit", "x"},
                                                    {"organize"},
                                                    {"watch"},
                                                    {"tasks"},
                                                    {"add", "x"},
                                                    {"done", "x"},
                                                    {"today"},
                                                    {"plan"},
                                                    {"undo", "--last"}}) {
      const ProgramResult result = vesk(command);
      EXPECT_EQ(result.exitStatus, 1) << command[0];
      EXPECT_THAT(result.errors, HasSubstr(sentence));
      EXPECT_EQ(result.output, "");
    }
  };
  check("vesk: No vault is open in Vesk. Open one with vesk open FOLDER.\n");
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  fs::remove_all(vault.path());
  check(" is gone. ");
}

TEST(Commands, AnswerWrongUseWithAHintAndStatusTwo) {
  const TemporaryFolder vault;
  const auto check = [](const std::vector<std::string>& arguments, const char* complaint, const char* hint) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ProgramResult result = vesk(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors, AllOf(StartsWith("vesk: "), HasSubstr(complaint), HasSubstr(hint)));
    EXPECT_EQ(result.output, "");
  };
  check({}, "vesk: A command is required", "vesk --help");
  check({"bogus"}, "bogus", "vesk --help");
  check({"open"}, "FOLDER", "vesk open --help");
  check({"open", vault.path(), "--method", "other"}, "vesk,para,ideas,custom", "vesk open --help");
  check({"open", vault.path(), "--language", "pt"}, "--method", "vesk open --help");
  check({"notes", "--limit", "0"}, "0", "vesk notes --help");
  check({"notes", "--limit", "-1"}, "-1", "vesk notes --help");
  check({"notes", "surplus\x1b[2J"}, "surplus\uFFFD[2J", "vesk notes --help");
  check({"access", "on", "canFly"}, "canReadEmail, ", "vesk access on --help");
  check({"access", "level", "Trusted!"}, "Trusted!", "vesk access level --help");
  EXPECT_EQ(vesk({"--version"}).output, "vesk 0.1.0\n");
  EXPECT_EQ(vesk({"search", "--help"}).exitStatus, 0);
}

}  // namespace

}  // namespace vesk::test
