#include <cstdlib>

#include "core/base/Json.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

// The vaults A and B, and an empty repository.
class SyncCommands : public testing::Test {
 protected:
  SyncCommands() {
    ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
    ::unsetenv("XDG_CONFIG_HOME");
    folder.write("../home/.gitconfig", "[user]\nname = Ana\nemail = ana@example.org\n");
    shell("git init -q --bare -b main origin.git");
    folder.write("A/Plan.md", "one\n");
    folder.write("B/Other.md", "from B\n");
  }

  ProgramResult shell(const std::string& line) const {
    return runProgram({"/bin/sh", "-c", "cd '" + folder.path() + "' && " + line});
  }

  // vesk sync in a vault.
  ProgramResult sync(const std::string& vault, std::vector<std::string> arguments) const {
    vesk({"open", folder.at(vault)});
    arguments.insert(arguments.begin(), "sync");
    return vesk(arguments);
  }

  const TemporaryFolder folder;
  const std::string origin = folder.at("origin.git");
};

TEST_F(SyncCommands, ConnectSyncAndTurnOff) {
  EXPECT_THAT(sync("A", {"status"}).output, HasSubstr("Connected to  nothing yet: vesk sync connect ADDRESS\n"));
  EXPECT_THAT(sync("A", {"now"}).errors, HasSubstr("isn't connected"));
  EXPECT_THAT(sync("A", {"connect", "ext::sh"}).errors, HasSubstr("Use an https or SSH address, without a password"));
  EXPECT_FALSE(folder.has("A/.git"));
  // Git's own words keep their lines.
  EXPECT_THAT(sync("A", {"connect", folder.at("missing")}).errors,
              AllOf(HasSubstr("fatal: '" + folder.at("missing")), EndsWith("\nvesk: Git could not do this. What it "
                                                                           "says stands above.\n")));
  EXPECT_EQ(sync("A", {"connect", origin}).output, "Synced with " + origin + ": 2 changed files committed.\n");
  folder.write("A/More.md", "");
  EXPECT_THAT(sync("A", {"status"}).output, AllOf(HasSubstr("Changes       1 to commit\n"), HasSubstr("in step")));
  EXPECT_THAT(sync("A", {"now"}).output, EndsWith(": 1 changed file committed.\n"));
  EXPECT_EQ(*Json::parse(sync("A", {"status", "--json"}).output).find("remote"), Json(origin));
  EXPECT_THAT(sync("A", {"history", "--limit", "1"}).output, MatchesRegex("[-0-9]+ ..:..  [0-9a-f]+  Update 1 note\n"));

  EXPECT_THAT(sync("A", {"off"}).errors, HasSubstr("Add --yes if"));
  EXPECT_EQ(sync("A", {"off", "--yes"}).output,
            "Sync is off. The history is in " + folder.trash() + "/files/.git now.\n");
  EXPECT_EQ(sync("A", {"off", "--yes"}).exitStatus, 1);
  EXPECT_TRUE(folder.has("A/Plan.md") && !folder.has("A/.git"));
}

TEST_F(SyncCommands, BringTwoVaultsTogetherOnlyWhenAsked) {
  sync("A", {"connect", origin});
  EXPECT_THAT(sync("B", {"connect", origin}).errors, HasSubstr("use vesk sync connect '" + origin + "' --merge."));
  EXPECT_FALSE(folder.has("B/.git"));
  shell("cd B && git init -q -b main && git add -A && git commit -qm own");
  EXPECT_THAT(sync("B", {"connect", origin}).errors, HasSubstr(" --merge."));
  EXPECT_THAT(sync("B", {"now"}).errors, HasSubstr("isn't connected"));
  EXPECT_EQ(sync("B", {"connect", origin, "--merge"}).exitStatus, 0);
  EXPECT_EQ(folder.read("B/Plan.md"), "one\n");
  EXPECT_EQ(sync("A", {"now"}).exitStatus, 0);
  EXPECT_EQ(folder.read("A/Other.md"), "from B\n");
  EXPECT_EQ(sync("B", {"connect", "file://" + origin}).exitStatus, 0) << "they are related now";
  shell("git -C origin.git branch -q -m main master && rm -rf A/.git");
  EXPECT_THAT(sync("A", {"connect", origin}).errors,
              HasSubstr("has no branch main, which this vault would sync with, but one named master."));
}

TEST_F(SyncCommands, SayHowAConflictIsResolved) {
  sync("A", {"connect", origin}), sync("B", {"connect", origin, "--merge"});
  folder.write("A/Plan.md", "two, A\n"), sync("A", {"now"});
  folder.write("B/Plan.md", "two, B\n");
  for (int attempt = 0; attempt < 2; ++attempt)
    EXPECT_THAT(sync("B", {"now"}).errors,
                AllOf(HasSubstr("\n  Plan.md\n"), HasSubstr("  git rebase --continue\n"),
                      EndsWith("vesk: The same notes changed in two places. Nothing was lost, but this needs fixing in "
                               "Git.\n")));
  EXPECT_THAT(sync("B", {"status"}).output, HasSubstr("Unfinished    a rebase, to be completed in Git\n"));
  EXPECT_EQ(sync("B", {"off", "--yes"}).exitStatus, 1);
  folder.write("B/Plan.md", "both\n");
  shell("cd B && git add -A && git -c core.editor=true rebase --continue");
  EXPECT_EQ(sync("B", {"now"}).exitStatus, 0);
  sync("A", {"now"});
  EXPECT_EQ(folder.read("A/Plan.md"), "both\n");

  // Deleted on one side, and nobody is known to git.
  shell("rm A/Plan.md"), sync("A", {"now"});
  folder.write("B/Plan.md", "more\n");
  folder.write("../home/.gitconfig", "");
  EXPECT_THAT(sync("B", {"now"}).errors,
              AllOf(HasSubstr("\n  Plan.md (deleted on one side, changed on the other: keep it or remove it)\nThen:"),
                    HasSubstr("  git -c user.name=Vesk -c user.email=vesk@localhost rebase --continue\n")));
}

}  // namespace

}  // namespace vesk::test
