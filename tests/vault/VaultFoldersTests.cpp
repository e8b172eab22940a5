#include <cerrno>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/vault/Vault.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using enum VaultError::Kind;
using test::failure;
using test::refusal;
using test::TemporaryFolder;
using testing::ElementsAre;

class VaultFolders : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const Vault vault{folder.path()};
};

TEST_F(VaultFolders, AreMadeRenamedAndMovedWithoutReplacing) {
  EXPECT_EQ(vault.createFolder("A: B", "Projects"), "Projects/A B");
  EXPECT_EQ(vault.createFolder("C", "Projects/A B"), "Projects/A B/C");
  folder.write("Projects/A B/Note.md", "note");
  folder.write("Projects/Taken/Note.md", "taken");
  folder.write("Areas/A B/Note.md", "other");
  const auto before = folder.everything();
  EXPECT_EQ(refusal([&] { vault.createFolder("Taken", "Projects"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.createFolder(" . ", "Projects"); }), invalidName);
  EXPECT_EQ(refusal([&] { vault.renameFolder("Projects/A B", "Taken"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.renameFolder("Projects/A B", ""); }), invalidName);
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects/A B", "Areas"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects/A B", "Projects"); }), nameTaken) << "it is there already";
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects/A B", "Projects/A B/C"); }), invalidMove);
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects", "Projects"); }), invalidMove);
  EXPECT_EQ(refusal([&] { vault.moveFolder("", "Areas"); }), invalidMove);
  EXPECT_EQ(failure([&] { vault.renameFolder("Missing", "New"); }), ENOENT);
  vault.ensureFolder("Projects/A B/C");
  EXPECT_EQ(folder.everything(), before);

  EXPECT_EQ(vault.renameFolder("Projects/A B/", "a b"), "Projects/a b");
  EXPECT_EQ(vault.moveFolder("Projects/a b", "Projects/a bc"), "Projects/a bc/a b") << "a name's beginning only";
  EXPECT_EQ(folder.read("Projects/a bc/a b/Note.md"), "note");
}

TEST_F(VaultFolders, GoToTheTrashAndComeBackAsTheyWere) {
  const std::string bytes("\xEF\xBB\xBF\r\n\0\xFF", 7);
  folder.write("Projects/A/Note.md", bytes);
  folder.setModified("Projects/A/Note.md", 1'000'000'000);
  const std::string note = vault.moveToTrash("Projects/A/Note.md");
  EXPECT_EQ(refusal([&] { vault.moveEmptyFolderToTrash("Projects"); }), changedSince);
  const std::string empty = vault.moveEmptyFolderToTrash("Projects/A");
  EXPECT_FALSE(folder.has("Projects/A"));

  vault.restore(note, "Projects/A/Note.md");
  EXPECT_EQ(folder.read("Projects/A/Note.md"), bytes);
  const auto modified = fs::last_write_time(folder.at("Projects/A/Note.md"));
  EXPECT_EQ(std::chrono::file_clock::to_sys(modified).time_since_epoch(), std::chrono::seconds(1'000'000'000));
  EXPECT_EQ(refusal([&] { vault.restore(empty, "Projects/A"); }), nameTaken);
  EXPECT_TRUE(fs::exists(empty));

  const std::string whole = vault.moveFolderToTrash("Projects");
  EXPECT_TRUE(folder.everything().empty());
  folder.write("Other", "");
  EXPECT_EQ(refusal([&] { vault.restore(whole, "Other"); }), nameTaken);
  vault.restore(whole, "Archive/Projects");
  EXPECT_EQ(folder.read("Archive/Projects/A/Note.md"), bytes);
  EXPECT_EQ(failure([&] { vault.restore(whole, "Projects"); }), ENOENT);
  EXPECT_EQ(failure([&] { vault.trash("Missing.md"); }), ENOENT);
  EXPECT_EQ(refusal([&] { vault.trash("Archive/.."); }), outsideVault) << "never the vault itself";
}

TEST_F(VaultFolders, SweepsTemporaryFilesAndKeepsThemOutOfGit) {
  for (const char* path : {".vesk-1.tmp", "A/.vesk-2.tmp", ".vesk/.vesk-3.tmp", "A/.vesk-note.md", "A/B.tmp",
                           ".other/.vesk-4.tmp", ".vesk-5.tmp/kept"})
    folder.write(path, "");
  folder.write(".git/info/exclude", "# mine");
  for (int i = 0; i < 2; ++i) vault.prepare();
  EXPECT_EQ(folder.read(".git/info/exclude"), "# mine\n.vesk-*.tmp\n");
  EXPECT_THAT(folder.everything(),
              ElementsAre(".git/", ".git/info/", ".git/info/exclude", ".other/", ".other/.vesk-4.tmp", ".vesk-5.tmp/",
                          ".vesk-5.tmp/kept", ".vesk/", "A/", "A/.vesk-note.md", "A/B.tmp"));

  fs::rename(folder.at(".git"), folder.supportDirectory() + "/git");
  fs::create_directory_symlink(folder.supportDirectory() + "/git", folder.at(".git"));
  fs::resize_file(folder.supportDirectory() + "/git/info/exclude", 0);
  vault.prepare();
  EXPECT_TRUE(fs::is_empty(folder.supportDirectory() + "/git/info/exclude")) << "a repository kept elsewhere";
}

TEST(VaultGuard, ResolvesPathsInsideTheVaultOnly) {
  const Vault vault("/tmp/./no/../vault/");
  EXPECT_EQ(vault.root(), "/tmp/vault");
  struct Case {
    std::string path;
    std::optional<std::string> resolved;
  };
  const Case cases[] = {{"", "/tmp/vault"},
                        {".", "/tmp/vault"},
                        {"a/..", "/tmp/vault"},
                        {"a//b/", "/tmp/vault/a/b"},
                        {"a/../b", "/tmp/vault/b"},
                        {"..a/...", "/tmp/vault/..a/..."},
                        {"../x", {}},
                        {"..", {}},
                        {"a/../../vault/x", {}},
                        {"/", {}},
                        {"/tmp/vault/x", {}},
                        {"../vault-evil", {}},
                        {std::string("a\0b", 3), {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.path));
    try {
      EXPECT_EQ(vault.resolve(c.path), c.resolved);
    } catch (const VaultError& error) {
      EXPECT_FALSE(c.resolved);
      EXPECT_STREQ(error.what(), (c.path + " is outside the vault.").c_str());
    }
  }
  EXPECT_EQ(Vault("/").resolve("a"), "/a");
}

TEST(VaultGuard, HoldsInEveryOperation) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  const std::string outside = folder.supportDirectory() + "/outside";
  fs::create_directories(outside + "/Sub");
  std::ofstream(outside + "/Secret.md") << "secret #tag";
  fs::create_directory_symlink(outside, folder.at("Out"));
  fs::create_directory_symlink("../support/outside", folder.at("Up"));
  fs::create_symlink(outside + "/Secret.md", folder.at("Out.md"));
  folder.write("In/Note.md", "note");
  std::ofstream(folder.supportDirectory() + "/Trashed.md") << "trashed";
  const std::string trashed = folder.supportDirectory() + "/Trashed.md";
  const auto before = folder.everything();
  const auto timeOf = [&](const char* item) { return fs::last_write_time(outside + item); };
  const auto times = std::pair(timeOf(""), timeOf("/Secret.md"));

  using Operation = std::function<void(const std::string& folder)>;
  const std::pair<const char*, Operation> operations[] = {
      {"read", [&](const auto& out) { vault.read(out + "/Secret.md"); }},
      {"save", [&](const auto& out) { vault.save(out + "/Secret.md", "x", {}); }},
      {"append", [&](const auto& out) { vault.append("x", out + "/Secret.md"); }},
      {"removeAppended", [&](const auto& out) { vault.removeAppended("tag", out + "/Secret.md"); }},
      {"restoreText", [&](const auto& out) { vault.restoreText("x", "secret #tag", out + "/Secret.md"); }},
      {"createNote", [&](const auto& out) { vault.createNote("New", "x", {}, out); }},
      {"createNote below", [&](const auto& out) { vault.createNote("New", "x", {}, out + "/Sub/New"); }},
      {"rename", [&](const auto& out) { vault.rename(out + "/Secret.md", "New"); }},
      {"move out", [&](const auto& out) { vault.move("In/Note.md", out); }},
      {"move in", [&](const auto& out) { vault.move(out + "/Secret.md", "In"); }},
      {"movePath", [&](const auto& out) { vault.movePath("In", out + "/New"); }},
      {"journalNote", [&](const auto& out) { vault.journalNote("Day", out, "x", {}); }},
      {"createFolder", [&](const auto& out) { vault.createFolder("New", out); }},
      {"ensureFolder", [&](const auto& out) { vault.ensureFolder(out + "/New"); }},
      {"renameFolder", [&](const auto& out) { vault.renameFolder(out + "/Sub", "New"); }},
      {"moveFolder out", [&](const auto& out) { vault.moveFolder("In", out); }},
      {"moveFolder in", [&](const auto& out) { vault.moveFolder(out + "/Sub", "In"); }},
      {"trash", [&](const auto& out) { vault.trash(out + "/Secret.md"); }},
      {"moveEmptyFolderToTrash", [&](const auto& out) { vault.moveEmptyFolderToTrash(out + "/Sub"); }},
      {"restore", [&](const auto& out) { vault.restore(trashed, out + "/Back.md"); }},
      {"restore below", [&](const auto& out) { vault.restore(trashed, out + "/New/Back.md"); }},
      {"adopt",
       [&](const auto& out) {
         vault.adopt({Organization::Method::custom, {{Bucket::inbox, out + "/New"}}}, {});
       }},
  };
  for (const auto& [name, operation] : operations)
    for (const std::string out : {"Out", "Up", "..", "../support/outside", "In/../../support/outside", "/tmp"}) {
      SCOPED_TRACE(std::string(name) + " " + out);
      EXPECT_EQ(refusal([&, &run = operation] { run(out); }), outsideVault);
    }
  EXPECT_EQ(refusal([&] { vault.read("Out.md"); }), outsideVault);
  EXPECT_EQ(refusal([&] { vault.append("x", "Out.md"); }), outsideVault);

  if (folder.has(".vesk")) fs::remove_all(folder.at(".vesk"));
  EXPECT_EQ(folder.everything(), before);
  EXPECT_EQ(times, std::pair(timeOf(""), timeOf("/Secret.md")));
  EXPECT_TRUE(fs::exists(trashed));
  EXPECT_TRUE(vault.scan().notes.size() == 1);

  // The link itself is an item of the vault like any other.
  EXPECT_TRUE(fs::is_symlink(vault.trash("Out")));
  EXPECT_TRUE(fs::exists(outside + "/Secret.md"));
}

}  // namespace
}  // namespace vesk
