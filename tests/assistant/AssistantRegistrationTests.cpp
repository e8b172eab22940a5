#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/assistant/AssistantRegistration.h"
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

TEST(ClaudeCode, IsToldOfTheServer) {
  const FakeAssistant fake;
  const auto environment = fake.environment();
  EXPECT_FALSE(claudeCode::isInstalled(environment));
  EXPECT_THAT(refusalOf([&] { claudeCode::add({"/opt/vesk-mcp"}, environment); }), HasSubstr("isn't installed"));

  fake.install("claude", "[ \"$2\" != remove ] || { echo 'No server named vesk' >&2; exit 1; }");
  EXPECT_TRUE(claudeCode::isInstalled(environment));
  claudeCode::add({"/a b/$(c)\"/vesk-mcp"}, environment);
  claudeCode::add({"/opt/vesk-mcp", "/my support"}, environment);
  EXPECT_TRUE(claudeCode::isRegistered(environment));
  EXPECT_EQ(refusalOf([&] { claudeCode::remove(environment); }), "Claude Code says: No server named vesk");
  EXPECT_THAT(
      fake.arguments(),
      ElementsAre("mcp", "remove", "--scope", "user", "vesk", "",                                       //
                  "mcp", "add", "--scope", "user", "vesk", "--", "/a b/$(c)\"/vesk-mcp", "",            //
                  "mcp", "remove", "--scope", "user", "vesk", "",                                       //
                  "mcp", "add", "--scope", "user", "vesk", "-e", "VESK_SUPPORT_DIR=/my support", "--",  //
                  "/opt/vesk-mcp", "", "mcp", "get", "vesk", "", "mcp", "remove", "--scope", "user", "vesk", ""));
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
  std::filesystem::remove(folder_.at(file_));
  ::mkfifo(folder_.at(file_).c_str(), 0600);
  EXPECT_EQ(refusalOf([&] { config_.install({"/opt/vesk-mcp"}); }), sentence);
}

}  // namespace
}  // namespace vesk
