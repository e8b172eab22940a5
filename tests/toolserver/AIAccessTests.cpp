#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/base/Json.h"
#include "core/platform/FileError.h"
#include "core/toolserver/AIAccess.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class AIAccessFile : public testing::Test {
 protected:
  AIAccess loaded() const { return AIAccess::load(folder.path()); }
  AIAccess loaded(std::string_view text) const {
    folder.write("ai-access.json", text);
    return loaded();
  }

  const test::TemporaryFolder folder;
};

TEST_F(AIAccessFile, TakesEachKeyByItself) {
  std::string on;
  for (const AccessSwitch& each : accessSwitches())
    if (loaded().*each.value) on.append(each.name).append(" ");
  EXPECT_EQ(on, "canRead canSearch allowsClaude allowsCodex ");  // until the user says more
  const std::pair<const char*, AIAccess> cases[] = {
      {R"({"canRead":false})", {.canRead = false}},
      {R"({"canTrash":1,"canRead":"false","canSearch":null,"canSync":[true],"canFile":true})", {.canFile = true}},
      {R"({"CANTRASH":true,"canFly":true,"approval":"Trusted","vaultPath":""})", {}},
      {R"({"vaultPath":"/home/ana/Vault","approval":"trusted"})",
       {.vaultPath = "/home/ana/Vault", .approval = ApprovalLevel::trusted}},
      {R"({"vaultPath":["/v"],"approval":2,"allowsClaude":false})", {.allowsClaude = false}},
      {"\xEF\xBB\xBF{\"canFile\":true}\r\n", {.canFile = true}},
  };
  for (const auto& [text, access] : cases) EXPECT_EQ(loaded(text), access) << text;
}

TEST_F(AIAccessFile, HasTheDefaultsWhenItCannotBeRead) {
  for (const std::string& text : {std::string(), R"({"canTrash":tru)"s, R"({"canTrash":true}x)"s, "[]"s, "null"s,
                                  "{\"canTrash\":true,\"x\":\"\xFF\"}"s, std::string(1'000'000, '[')})
    EXPECT_EQ(loaded(text), AIAccess()) << text.substr(0, 60);

  const std::string path = folder.at("ai-access.json");
  fs::resize_file(path, std::uintmax_t{1} << 40);  // a terabyte of nothing
  EXPECT_EQ(loaded(), AIAccess());
  fs::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(loaded(), AIAccess());
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_EQ(loaded(), AIAccess());
  EXPECT_EQ(AIAccess::load(folder.at("missing")), AIAccess());
  EXPECT_EQ(AIAccess::load(""), AIAccess());
}

TEST_F(AIAccessFile, ComesBackAsSavedWithForeignKeys) {
  folder.write("ai-access.json", R"({"canRead":false,"newer":{"deep":[1.10]},"vaultPath":"/old","canTrash":"yes"})");
  AIAccess access;
  for (const AccessSwitch& each : accessSwitches()) access.*each.value = !(access.*each.value);
  for (const auto level : {ApprovalLevel::important, ApprovalLevel::trusted, ApprovalLevel::always})
    for (const std::optional<std::string>& vaultPath : {std::optional<std::string>("/home/é/\"Vault\""), {}}) {
      access.approval = level;
      access.vaultPath = vaultPath;
      access.save(folder.path());
      EXPECT_EQ(loaded(), access);
    }
  EXPECT_EQ(Json::parse(folder.read("ai-access.json")).find("newer")->compact(), R"({"deep":[1.10]})");
  EXPECT_EQ(folder.everything(), std::vector<std::string>{"ai-access.json"});
}

TEST_F(AIAccessFile, IsKeptAsideWhenItCannotBeRead) {
  folder.write("ai-access.json", R"({"canTrash" half writ)");
  AIAccess{.canFile = true}.save(folder.path());
  EXPECT_EQ(loaded(), AIAccess{.canFile = true});
  const auto files = folder.everything();
  ASSERT_EQ(files.size(), 2u);
  EXPECT_THAT(files.back(), testing::MatchesRegex(R"(ai-access\.unreadable-[0-9]{8}T[0-9]{6}Z\.json)"));
  EXPECT_EQ(folder.read(files.back()), R"({"canTrash" half writ)");
}

TEST_F(AIAccessFile, IsTheUsersAlone) {
  for (const char* directory : {"a/b/Vesk", "a/Vesk two/"})
    for (int time = 0; time < 2; ++time) {
      AIAccess().save(folder.at(directory));
      EXPECT_EQ(fs::status(folder.at(directory)).permissions(), fs::perms::owner_all);
      EXPECT_EQ(fs::status(folder.at(directory) + "/ai-access.json").permissions(),
                fs::perms::owner_read | fs::perms::owner_write);
    }
  folder.write("file", "");
  EXPECT_THROW(AIAccess().save(folder.at("file")), FileError);
}

}  // namespace
}  // namespace vesk
