#include <filesystem>
#include <string>
#include <string_view>
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

class AIAccessFile : public testing::Test {
 protected:
  AIAccess loaded() const { return AIAccess::load(folder.path()); }
  AIAccess loaded(std::string_view text) const {
    folder.write("ai-access.json", text);
    return loaded();
  }
  static unsigned modeOf(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 ? attributes.st_mode & 07777 : 0;
  }

  const test::TemporaryFolder folder;
};

TEST_F(AIAccessFile, AllowsReadingOnlyUntilTheUserSaysMore) {
  const AIAccess access = loaded();
  EXPECT_EQ(access.vaultPath, std::nullopt);
  EXPECT_EQ(access.approval, ApprovalLevel::always);
  std::vector<std::string_view> on;
  for (const AccessSwitch& each : accessSwitches())
    if (access.*each.value) on.push_back(each.name);
  EXPECT_EQ(on, (std::vector<std::string_view>{"canRead", "canSearch", "allowsClaude", "allowsCodex"}));
}

TEST_F(AIAccessFile, TakesEachKeyByItself) {
  struct Case {
    const char* text;
    AIAccess access;
  };
  const Case cases[] = {
      {"{}", {}},
      {R"({"canTrash":true,"canRead":false})", {.canRead = false, .canTrash = true}},
      {R"({"canTrash":1,"canRead":"false","canSearch":null,"canSync":[true],"canFile":true})", {.canFile = true}},
      {R"({"CANTRASH":true,"canFly":true})", {}},
      {R"({"vaultPath":"/home/ana/Vault","approval":"trusted"})",
       {.vaultPath = "/home/ana/Vault", .approval = ApprovalLevel::trusted}},
      {R"({"vaultPath":"","approval":"Trusted"})", {}},
      {R"({"vaultPath":["/v"],"approval":2,"allowsClaude":false})", {.allowsClaude = false}},
      {"\xEF\xBB\xBF{\"canFile\":true}\r\n", {.canFile = true}},
  };
  for (const Case& c : cases) EXPECT_EQ(loaded(c.text), c.access) << c.text;
}

TEST_F(AIAccessFile, HasTheDefaultsWhenItCannotBeRead) {
  for (const char* text : {"", R"({"canTrash":tru)", R"({"canTrash":true}x)", "[]", R"("canTrash")", "null",
                           "{\"canTrash\":true,\"x\":\"\xFF\"}"})
    EXPECT_EQ(loaded(text), AIAccess()) << text;
  EXPECT_EQ(loaded(std::string(1'000'000, '[')), AIAccess());

  fs::resize_file(folder.at("ai-access.json"), std::uintmax_t{1} << 40);  // a terabyte of nothing
  EXPECT_EQ(loaded(), AIAccess());
  fs::remove(folder.at("ai-access.json"));
  ASSERT_EQ(::mkfifo(folder.at("ai-access.json").c_str(), 0600), 0);
  EXPECT_EQ(loaded(), AIAccess());
  fs::remove(folder.at("ai-access.json"));
  fs::create_directory(folder.at("ai-access.json"));
  EXPECT_EQ(loaded(), AIAccess());
  EXPECT_EQ(AIAccess::load(folder.at("missing")), AIAccess());
  EXPECT_EQ(AIAccess::load(""), AIAccess());
}

TEST_F(AIAccessFile, ComesBackAsSavedWithForeignKeys) {
  folder.write("ai-access.json", R"({"canRead":false,"newer":{"deep":[1.10]},"vaultPath":"/old","canTrash":"yes"})");
  AIAccess access;
  for (const AccessSwitch& each : accessSwitches()) access.*each.value = !(access.*each.value);
  for (const auto level : {ApprovalLevel::important, ApprovalLevel::trusted, ApprovalLevel::always}) {
    access.approval = level;
    access.vaultPath = "/home/é/\"Vault\"";
    access.save(folder.path());
    EXPECT_EQ(loaded(), access);
  }
  access.vaultPath.reset();
  access.save(folder.path());
  EXPECT_EQ(loaded(), access);
  const Json json = Json::parse(folder.read("ai-access.json"));
  EXPECT_EQ(json.find("newer")->compact(), R"({"deep":[1.10]})");
  EXPECT_FALSE(json.find("vaultPath"));
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
  for (const char* directory : {"a/b/Vesk", "a/Vesk two/", "Vesk/."}) {
    const std::string path = folder.at(directory);
    AIAccess().save(path);
    EXPECT_EQ(modeOf(path), 0700u) << directory;
    EXPECT_EQ(modeOf(path + "/ai-access.json"), 0600u) << directory;
    AIAccess().save(path);
    EXPECT_EQ(modeOf(path + "/ai-access.json"), 0600u) << directory;
  }
  folder.write("file", "");
  EXPECT_THROW(AIAccess().save(folder.at("file")), FileError);
  EXPECT_THROW(AIAccess().save(folder.at("file/Vesk")), FileError);
}

}  // namespace
}  // namespace vesk
