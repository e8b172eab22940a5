#include <functional>
#include <map>

#include "core/base/Json.h"
#include "tests/app/AssistantPrograms.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

// A user for whom all is well, but that nothing is synced and there is no mail.
class DoctorCommand : public testing::Test {
 protected:
  DoctorCommand() {
    programs.folder.write("vault/Plan.md", "one\n");
    programs.folder.write("home/.config/Claude/claude_desktop_config.json", "{}");
    programs.vesk({"open", vault});
    for (const char* id : {"claude-code", "claude-desktop", "codex"}) programs.vesk({"connect", id});
  }

  ProgramResult shell(const std::string& line) const {
    return runProgram({"/bin/sh", "-c", "cd '" + programs.folder.path() + "' && " + line},
                      {.environment = {{"HOME", programs.fake.home()}}});
  }

  const AssistantPrograms programs;
  const std::string vault = programs.folder.at("vault");
};

TEST_F(DoctorCommand, FindsNothingAndLeavesNothing) {
  const auto before = contentsOf(vault);
  const ProgramResult result = programs.vesk({"doctor"});
  EXPECT_EQ(result.exitStatus, 0) << result.output << result.errors;
  EXPECT_THAT(result.output,
              AllOf(HasSubstr("good        Vault           " + vault + " can be read and written.\n"),
                    HasSubstr("good        Tool server     vesk-mcp "),
                    HasSubstr("good        Claude Code     You are signed in. It is connected to Vesk.\n"),
                    HasSubstr("good        Claude Desktop  It is connected to Vesk.\n"),
                    HasSubstr("not set up  Sync            The vault isn't synced.\n"),
                    HasSubstr(" → vesk sync connect ADDRESS\n"),
                    HasSubstr("good        Trash           " + programs.folder.trash()),
                    EndsWith("\nNothing needs your attention.\n")));
  EXPECT_EQ(contentsOf(vault), before);
  EXPECT_EQ(contentsOf(programs.folder.trash()), (std::map<std::string, std::string>{{"files/", ""}, {"info/", ""}}));
}

TEST_F(DoctorCommand, SaysWhatNeedsAttention) {
  struct Case {
    const char* trouble;  // a line for the shell
    const char* subject;
    const char* says;
    const char* toDo;
  };
  const Case cases[] = {
      {"rm ../support/ai-access.json", "Vault", "No vault is open.", "vesk open FOLDER"},
      {"echo '{' >../support/ai-access.json", "Access", "can't be read, so all is as at first.", "Mend that file"},
      {"mv vault gone", "Vault", "is gone.", "vesk open FOLDER"},
      {"sed -i s/true/false/ ../support/ai-access.json", "Access", "can reach nothing.",
       "vesk access on canRead canSearch"},
      {"rm home/claude.login", "Claude Code", "You aren't signed in to it.", "claude auth login"},
      {"echo /old/vesk-mcp >home/codex.server", "Codex", "another tool server: /old/vesk-mcp", "vesk connect codex"},
      {"echo VESK_SUPPORT_DIR=/old >home/claude.variables", "Claude Code", "another support directory",
       "vesk connect claude-code"},
      {"echo '{' >home/.config/Claude/claude_desktop_config.json", "Claude Desktop", "couldn't be read",
       "vesk connect claude-desktop"},
      {"cd vault && git init -q -b main && git add -A && git -c user.name=A -c user.email=a@b commit -qm one && "
       "git remote add origin /nowhere",
       "Sync", "Connected to /nowhere. Nothing was sent yet.", "vesk sync now"},
      {"cd vault && git init -q -b main && git add -A && git -c user.name=A -c user.email=a@b commit -qm one && "
       "touch .git/MERGE_HEAD && git rev-parse HEAD >.git/MERGE_HEAD",
       "Sync", "The last sync stopped", "vesk sync now"},
      {"mkdir ../support/mail && echo nonsense >../support/mail/mail.sqlite", "Mail",
       "The mail database can't be used: file is not a database", "put a backup in its place"},
      {"rm -rf ../data/Trash && touch ../data/Trash", "Trash", "Can't ", "Nothing can be deleted"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.trouble);
    shell("cp -a ../support kept.support && cp -a home kept.home && cp -a vault kept.vault");
    shell(c.trouble);
    const ProgramResult result = programs.vesk({"doctor", "--json"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "vesk: 1 thing needs your attention.\n");
    const Json report = Json::parse(result.output);
    for (const Json& finding : *report.find("checks")->array()) {
      const bool isTrouble = *finding.find("subject")->string() == c.subject;
      EXPECT_EQ(*finding.find("verdict")->string() == "attention", isTrouble) << finding.compact();
      if (!isTrouble) continue;
      EXPECT_THAT(*finding.find("says")->string(), HasSubstr(c.says));
      EXPECT_THAT(*finding.find("to_do")->string(), HasSubstr(c.toDo));
    }
    shell(
        "rm -rf ../support home vault gone ../data && mv kept.support ../support && mv kept.home home && "
        "mv kept.vault vault && mkdir ../data");
  }
}

// The others are asked meanwhile, and the terminal shows whom it waits for.
TEST_F(DoctorCommand, WaitsOnlySoLong) {
  programs.fake.install("claude", "exec sleep 60");
  const ProgramResult result = programs.vesk({"doctor", "--wait", "1"}, 100);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.output, AllOf(HasSubstr("Checking Claude Code"), HasSubstr("Claude Code didn't answer."),
                                   HasSubstr("Try it yourself: claude mcp get vesk"), HasSubstr("Trash")));
}

}  // namespace

}  // namespace vesk::test
