#include "core/base/Json.h"
#include "core/vault/Vault.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Method = Organization::Method;

class OrganizeCommand : public testing::Test {
 protected:
  OrganizeCommand() {
    vault.write("Projects/Plan.md", "plan");
    vault.write("Projects/Idea.md", "mine");
    vault.write("In progress/Idea.md", "theirs");
  }

  std::string answered(const std::string& answer) {
    return runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk organize vesk", "/dev/null"}, {.input = answer})
        .output;
  }

  Method method() { return Vault(vault.path()).organization()->method; }

  TemporaryFolder vault;
};

TEST_F(OrganizeCommand, MovesNothingBeforeAYes) {
  vesk({"open", vault.path(), "--method", "para"});
  EXPECT_THAT(vesk({"organize"}).output, HasSubstr("Organized by para\nInbox      Inbox      0 notes\n"
                                                   "Projects   Projects   2 notes\n"));
  EXPECT_THAT(vesk({"organize", "vesk"}).output,
              EndsWith("Moves (1)\n  Projects/Plan.md → In progress/Plan.md\n"
                       "Stays, as something of that name is there already (1)\n  Projects/Idea.md\n"
                       "To carry this out: vesk organize vesk --yes\n"));
  EXPECT_EQ(*Json::parse(vesk({"organize", "vesk", "--json"}).output).find("done"), Json(false));
  EXPECT_THAT(answered("n\n"), HasSubstr("Nothing was changed."));
  EXPECT_EQ(method(), Method::para);
  EXPECT_TRUE(vault.has("Projects/Plan.md"));

  EXPECT_THAT(answered("y\n"), HasSubstr("It is organized by vesk now."));
  EXPECT_EQ(method(), Method::vesk);
  EXPECT_EQ(vault.read("In progress/Plan.md"), "plan");
  EXPECT_EQ(vault.read("In progress/Idea.md"), "theirs");
  EXPECT_EQ(vault.read("Projects/Idea.md"), "mine");
  EXPECT_FALSE(vault.has("Areas"));
}

TEST_F(OrganizeCommand, KnowsWhatIsSoAlready) {
  vesk({"open", vault.path()});
  EXPECT_THAT(vesk({"organize", "para", "--yes"}).output, StartsWith("From no method chosen, read as para\n  to para"));
  EXPECT_EQ(vesk({"organize", "para", "--yes"}, {.environment = {{"LC_ALL", "pt_PT.UTF-8"}}}).output,
            "It is organized by para already.\n");
  vesk({"organize", "vesk", "--yes"});
  const Json json = Json::parse(vesk({"organize", "vesk", "--language", "pt", "--yes", "--json"}).output);
  EXPECT_EQ(*json.find("done"), Json(true));
  EXPECT_TRUE(vault.has("Em andamento/Plan.md"));
  EXPECT_EQ(vesk({"organize", "vesk"}).output, "It is organized by vesk already.\n");
  EXPECT_EQ(vesk({"organize", "--yes"}).exitStatus, 2);
}

}  // namespace

}  // namespace vesk::test
