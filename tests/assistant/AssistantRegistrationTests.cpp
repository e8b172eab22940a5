#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/assistant/AssistantRegistration.h"
#include "core/platform/FileError.h"
#include "tests/assistant/FakeAssistant.h"

namespace vesk {
namespace {

using test::FakeAssistant;
using testing::ElementsAre;
using testing::HasSubstr;

template <typename Action>
std::string refusalOf(Action action) {
  try {
    action();
  } catch (const RegistrationError& error) {
    return error.what();
  }
  return "";
}

constexpr auto claude = AssistantProvider::claude;
constexpr auto codex = AssistantProvider::codex;

TEST(AssistantRegistration, TellsClaudeCodeOfTheServer) {
  using namespace assistantRegistration;
  const FakeAssistant fake;
  const auto environment = fake.environment();
  EXPECT_FALSE(isInstalled(claude, environment));
  EXPECT_THAT(refusalOf([&] { add(claude, {"/opt/vesk-mcp"}, environment); }), HasSubstr("isn't installed"));

  fake.install("claude", "[ \"$2\" != remove ] || { echo 'No server named vesk' >&2; exit 1; }");
  EXPECT_TRUE(isInstalled(claude, environment));
  add(claude, {"/a b/$(c)\"/vesk-mcp"}, environment);
  add(claude, {"/opt/vesk-mcp", "/my support"}, environment);
  EXPECT_EQ(find(claude, environment), Registration{}) << "it knows of something that it doesn't describe";
  EXPECT_EQ(refusalOf([&] { remove(claude, environment); }), "Claude Code says: No server named vesk");
  EXPECT_THAT(
      fake.arguments(),
      ElementsAre("mcp", "remove", "--scope", "user", "vesk", "",                                       //
                  "mcp", "add", "--scope", "user", "vesk", "--", "/a b/$(c)\"/vesk-mcp", "",            //
                  "mcp", "remove", "--scope", "user", "vesk", "",                                       //
                  "mcp", "add", "--scope", "user", "vesk", "-e", "VESK_SUPPORT_DIR=/my support", "--",  //
                  "/opt/vesk-mcp", "", "mcp", "get", "vesk", "", "mcp", "remove", "--scope", "user", "vesk", ""));
}

TEST(AssistantRegistration, TellsCodexOfTheServer) {
  using namespace assistantRegistration;
  const FakeAssistant fake;
  const auto environment = fake.environment();
  fake.install("codex", "[ \"$2\" != add ] || { echo 'config.toml: broken' >&2; exit 1; }");
  EXPECT_EQ(refusalOf([&] {
              add(codex, {"/opt/vesk-mcp", "/my support"}, environment);
            }),
            "Codex says: config.toml: broken");
  remove(codex, environment);
  EXPECT_THAT(fake.arguments(), ElementsAre("mcp", "add", "vesk", "--env", "VESK_SUPPORT_DIR=/my support", "--",
                                            "/opt/vesk-mcp", "", "mcp", "remove", "vesk", ""));
}

TEST(AssistantRegistration, ReadsWhatTheProgramsShow) {
  struct Case {
    AssistantProvider provider;
    const char* script;
    std::optional<Registration> registration;
  };
  const Case cases[] = {
      {claude,
       "echo 'vesk:\n  Scope: User config\n  Status: ✔ Connected\n  Type: stdio\n  Command: /a b/vesk-mcp\n  Args:\n"
       "  Environment:\n    VESK_SUPPORT_DIR=/my = dir\n\nTo remove this server, run: …'",
       Registration{{"/a b/vesk-mcp", "/my = dir"}, true}},
      {claude, "echo '  Status: ✘ Failed to connect\n  Command: /x'", Registration{{"/x", {}}, false}},
      {claude, "echo '  Status: ! Needs authentication\n  Command: /x'", Registration{{"/x", {}}, {}}},
      {claude, "echo 'No MCP server named \"vesk\"' >&2; exit 1", std::nullopt},
      {codex,
       R"(echo 'WARNING' >&2; echo '{"name":"vesk","enabled":true,"transport":{"type":"stdio","command":"/x",)"
       R"("args":[],"env":{"VESK_SUPPORT_DIR":"/s"}}}')",
       Registration{{"/x", "/s"}, {}}},
      {codex, R"(echo '{"enabled":false,"transport":{"command":"/x","env":null}}')", Registration{{"/x", {}}, false}},
      {codex, "echo 'vesk: something'", Registration{}},
      {codex, "echo 'No MCP server named vesk' >&2; exit 1", std::nullopt},
  };
  const FakeAssistant fake;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    fake.install(program(c.provider).command, c.script);
    EXPECT_EQ(assistantRegistration::find(c.provider, fake.environment()), c.registration);
  }
  fake.install("codex", "exec sleep 60");
  EXPECT_EQ(refusalOf([&] { assistantRegistration::find(codex, fake.environment(), std::chrono::milliseconds(100)); }),
            "Codex didn't answer.");
}

class ClaudeDesktop : public testing::Test {
 protected:
  test::TemporaryFolder folder_;
  ClaudeDesktopConfig config_ = ClaudeDesktopConfig(folder_.at("Claude/claude_desktop_config.json"));
  static constexpr const char* file_ = "Claude/claude_desktop_config.json";
};

TEST_F(ClaudeDesktop, LiesInTheUsersSettings) {
  EXPECT_EQ(ClaudeDesktopConfig::standard("/home/ana").path(), "/home/ana/.config/Claude/claude_desktop_config.json");
  EXPECT_EQ(ClaudeDesktopConfig::standard("/home/ana", "/etc/x").path(), "/etc/x/Claude/claude_desktop_config.json");
  EXPECT_EQ(ClaudeDesktopConfig::standard("/home/ana", "x").path(),
            "/home/ana/.config/Claude/claude_desktop_config.json");
}

TEST_F(ClaudeDesktop, KeepsWhatIsNotVesks) {
  EXPECT_FALSE(config_.isClientInstalled());
  EXPECT_EQ(config_.installedCommand(), std::nullopt);
  config_.remove();
  EXPECT_FALSE(config_.isClientInstalled()) << "nothing was made";

  config_.install({"/opt/vesk-mcp"});
  EXPECT_EQ(folder_.read(file_), ClaudeDesktopConfig::snippet({"/opt/vesk-mcp"}) + "\n");
  EXPECT_TRUE(config_.isClientInstalled());

  const std::string others = R"({"mcpServers":{"a":{"command":"x","n":1.10}},"theme":null})";
  folder_.write(file_, others);
  ::chmod(folder_.at(file_).c_str(), 0640);
  config_.install({"/old"});
  config_.install({"/opt/\"v\"/vesk-mcp", "/support"});
  EXPECT_EQ(config_.installedCommand(), "/opt/\"v\"/vesk-mcp");
  EXPECT_EQ(Json::parse(folder_.read(file_)).compact(),
            R"({"mcpServers":{"a":{"command":"x","n":1.10},"vesk":{"command":"/opt/\"v\"/vesk-mcp",)"
            R"("env":{"VESK_SUPPORT_DIR":"/support"}}},"theme":null})");
  config_.remove();
  EXPECT_EQ(Json::parse(folder_.read(file_)).compact(), others);
  struct stat info = {};
  ::stat(folder_.at(file_).c_str(), &info);
  EXPECT_EQ(info.st_mode & 0777U, 0640U);

  folder_.write(file_, others);
  config_.remove();
  EXPECT_EQ(folder_.read(file_), others) << "there is nothing to take out";
}

// White space, order, spelling: only what is Vesk's comes and goes.
TEST_F(ClaudeDesktop, KeepsTheRestToTheByte) {
  struct Case {
    const char* before;
    const char* with;
    const char* without;
  };
  const Case cases[] = {
      {"{}", "{\n  \"mcpServers\" : {\n    \"vesk\" : {\n      \"command\" : \"/v\"\n    }\n  }\n}",
       "{\n  \"mcpServers\" : {}\n}"},
      {R"({"z":[1,{"}":"\"]"}],"a":1e2})", R"({"z":[1,{"}":"\"]"}],"a":1e2,"mcpServers":{"vesk":{"command":"/v"}}})",
       R"({"z":[1,{"}":"\"]"}],"a":1e2,"mcpServers":{}})"},
      {"{\r\n\t\"mcpServers\": {\r\n\t\t\"b\":{ \"command\":\"\\u0078\" }\r\n\t},\r\n\t\"a\": 1\r\n}\r\n",
       "{\r\n\t\"mcpServers\": {\r\n\t\t\"b\":{ \"command\":\"\\u0078\" },\n\t\t\"vesk\" : {\n\t\t  \"command\" : "
       "\"/v\"\n\t\t}\r\n\t},\r\n\t\"a\": 1\r\n}\r\n",
       "{\r\n\t\"mcpServers\": {\r\n\t\t\"b\":{ \"command\":\"\\u0078\" }\r\n\t},\r\n\t\"a\": 1\r\n}\r\n"},
      {R"({"mcpServers":null,"mcpServers":{"v\u0065sk":{"x":1}, "a":{}}})",
       R"({"mcpServers":null,"mcpServers":{"v\u0065sk":{)"
       "\n  \"command\" : \"/v\"\n"
       R"(}, "a":{}}})",
       R"({"mcpServers":null,"mcpServers":{"a":{}}})"},
      {R"({"mcpServers":{"vesk":1,"a":{},"vesk":2}})", nullptr, R"({"mcpServers":{"a":{}}})"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.before);
    folder_.write(file_, c.before);
    if (c.with) {
      config_.install({"/v"});
      EXPECT_EQ(folder_.read(file_), c.with);
      EXPECT_EQ(config_.installedCommand(), "/v");
    }
    config_.remove();
    EXPECT_EQ(folder_.read(file_), c.without);
  }
}

TEST_F(ClaudeDesktop, FollowsALinkToTheFile) {
  folder_.write("dotfiles/claude.json", R"({"theme":"dark"})");
  std::filesystem::create_directories(folder_.at("Claude"));
  std::filesystem::create_symlink(folder_.at("dotfiles/claude.json"), folder_.at(file_));
  config_.install({"/opt/vesk-mcp"});
  EXPECT_TRUE(std::filesystem::is_symlink(folder_.at(file_)));
  EXPECT_THAT(folder_.read("dotfiles/claude.json"), AllOf(HasSubstr("dark"), HasSubstr("/opt/vesk-mcp")));
}

TEST_F(ClaudeDesktop, LeavesAloneWhatItCannotRead) {
  const std::string sentence = "Claude's settings file couldn't be read, so Vesk left it alone.";
  for (const char* text : {"", "{", "[]", "{} // mine", R"({"mcpServers":{"vesk":{}},})", R"({"mcpServers":[]})"}) {
    SCOPED_TRACE(text);
    folder_.write(file_, text);
    EXPECT_EQ(refusalOf([&] { config_.install({"/opt/vesk-mcp"}); }), sentence);
    EXPECT_EQ(folder_.read(file_), text);
  }
  folder_.write(file_, "{");
  EXPECT_EQ(refusalOf([&] { config_.remove(); }), sentence);
  EXPECT_EQ(refusalOf([&] { config_.installedCommand(); }), sentence);
  folder_.write(file_, "{}");
  ::chmod(folder_.at(file_).c_str(), 0444);
  EXPECT_THROW(config_.install({"/opt/vesk-mcp"}), FileError);
  EXPECT_EQ(folder_.read(file_), "{}");
  std::filesystem::remove(folder_.at(file_));
  ::mkfifo(folder_.at(file_).c_str(), 0600);
  EXPECT_EQ(refusalOf([&] { config_.install({"/opt/vesk-mcp"}); }), sentence);
}

}  // namespace
}  // namespace vesk
