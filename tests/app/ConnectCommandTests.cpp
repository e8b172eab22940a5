#include <sys/stat.h>

#include "core/base/Json.h"
#include "tests/app/AssistantPrograms.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* settings = "home/.config/Claude/claude_desktop_config.json";
const std::string server = VESK_BIN_DIR "/vesk-mcp";

TEST(ConnectCommand, ConnectsAndDisconnectsEach) {
  const AssistantPrograms programs;
  programs.folder.write(settings, "{}");
  EXPECT_THAT(programs.vesk({"connect"}).output,
              AllOf(HasSubstr("Claude Code     not connected  vesk connect claude-code\n"),
                    HasSubstr("Claude Desktop  not connected"), HasSubstr("Codex           not connected")));
  for (const auto& [id, name] : {std::pair("claude-code", "Claude Code"), std::pair("claude-desktop", "Claude Desktop"),
                                 std::pair("codex", "Codex")}) {
    SCOPED_TRACE(id);
    EXPECT_THAT(programs.vesk({"connect", id}).output,
                AllOf(StartsWith(name + (" is connected: it starts " + server)), HasSubstr("No vault is open so far")));
    EXPECT_EQ(programs.vesk({"connect", id}).output, name + std::string(" is connected already.\n"));
    const Json all = Json::parse(programs.vesk({"connect", "--json"}).output);
    EXPECT_THAT(all.compact(), HasSubstr(fmt::format(R"("id":"{}","name":"{}","state":"connected")", id, name)));
    EXPECT_THAT(programs.vesk({"disconnect", id}).output, StartsWith(name + std::string(" isn't connected any more.")));
    EXPECT_EQ(programs.vesk({"disconnect", id}).output, name + std::string(" isn't connected.\n"));
  }
  EXPECT_EQ(programs.vesk({"connect", "emacs"}).exitStatus, 2);
  programs.vesk({"access", "off", "allowsCodex"});
  EXPECT_EQ(programs.vesk({"connect", "codex"}).errors,
            "vesk: Codex is turned off. Turn it on with vesk access on allowsCodex.\n");
}

// Codex doesn't pass XDG_DATA_HOME on.
TEST(ConnectCommand, NamesTheSupportDirectoryUnlessItIsTheUsualOne) {
  const AssistantPrograms programs;
  const std::string home = programs.fake.home();
  struct Case {
    std::string variable;
    std::string dataHome;
    bool isNamed;
  };
  const Case cases[] = {{home + "/.local/share/Vesk", "/x", false}, {"", "", false}, {"", home + "/data", true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.variable + " " + c.dataHome);
    vesk({"connect", "claude-desktop"}, {.environment = {{"HOME", home},
                                                         {"XDG_CONFIG_HOME", ""},
                                                         {"VESK_SUPPORT_DIR", c.variable},
                                                         {"XDG_DATA_HOME", c.dataHome}}});
    EXPECT_EQ(programs.folder.read(settings).find("VESK_SUPPORT_DIR") != std::string::npos, c.isNamed);
  }
}

TEST(ConnectCommand, SaysHowToDoByHandWhatItCannot) {
  const AssistantPrograms programs;
  for (const char* text : {"", "[]", "{ // mine\n}"}) {
    SCOPED_TRACE(text);
    programs.folder.write(settings, text);
    const ProgramResult result = programs.vesk({"connect", "claude-desktop"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("By hand it goes like this. Put this into " + programs.folder.at(settings)),
                      HasSubstr("\"command\" : \"" + server + "\""),
                      HasSubstr("vesk: Claude's settings file couldn't be read, so Vesk left it alone.")));
    EXPECT_EQ(programs.folder.read(settings), text);
    EXPECT_THAT(programs.vesk({"disconnect", "claude-desktop"}).errors, HasSubstr("take out \"vesk\" under"));
    EXPECT_THAT(programs.vesk({"connect"}).output, HasSubstr("Claude Desktop  unknown"));
  }
  programs.folder.write(settings, "{}");
  ::chmod(programs.folder.at(settings).c_str(), 0444);
  EXPECT_THAT(programs.vesk({"connect", "claude-desktop"}).errors,
              HasSubstr("Can't write " + programs.folder.at(settings)));

  programs.fake.install("codex", "[ \"$2\" != get ] || exit 1; echo 'broken\x1b[2J' >&2; [ \"$2\" != add ]");
  EXPECT_THAT(programs.vesk({"connect", "codex"}).errors,
              AllOf(HasSubstr("Run:\n  codex mcp add vesk --env VESK_SUPPORT_DIR="),
                    HasSubstr("vesk: Codex says: broken"), Not(HasSubstr("\x1b"))));
}

TEST(ConnectCommand, SaysWhenItChangedNothing) {
  const AssistantPrograms programs;
  programs.install("claude", "echo '  Status: ✔ Connected\n  Command: /other/vesk-mcp'");
  programs.folder.write("home/claude.server", "");
  EXPECT_THAT(programs.vesk({"connect"}).output, HasSubstr("connected to another  /other/vesk-mcp\n"));
  const ProgramResult result = programs.vesk({"connect", "claude-code"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.errors, HasSubstr("was told of Vesk, but starts /other/vesk-mcp."));
}

}  // namespace

}  // namespace vesk::test
