#include <cerrno>
#include <fstream>

#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using enum VaultError::Kind;
using VaultFolders = test::VaultTest;
using VaultGuard = test::VaultTest;
using test::failure;
using test::refusal;
using testing::ElementsAre;

TEST_F(VaultFolders, AreMadeRenamedAndMovedWithoutReplacing) {
  EXPECT_EQ(vault.createFolder("A: B", "Projects"), "Projects/A B");
  vault.ensureFolder("Projects/Taken");
  folder.write("Projects/A B/C/Note.md", "note");
  folder.write("Areas/A B/Note.md", "other");
  const auto before = folder.everything();
  EXPECT_EQ(refusal([&] { vault.createFolder("Taken", "Projects"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.createFolder(" . ", "Projects"); }), invalidName);
  EXPECT_EQ(refusal([&] { vault.renameFolder("Projects/A B", "Taken"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects/A B", "Areas"); }), nameTaken);
  EXPECT_EQ(vault.moveFolder("Projects/A B", "Projects"), "Projects/A B") << "it is there already";
  EXPECT_EQ(refusal([&] { vault.moveFolder("Projects/A B", "Projects/A B/C"); }), invalidMove);
  EXPECT_EQ(refusal([&] { vault.moveFolder("", "Areas"); }), invalidMove);
  EXPECT_EQ(failure([&] { vault.renameFolder("Missing", "New"); }), ENOENT);
  EXPECT_EQ(folder.everything(), before);

  EXPECT_EQ(vault.renameFolder("Projects/A B/", "a b"), "Projects/a b");
  EXPECT_EQ(vault.moveFolder("Projects/a b", "Projects/a bc"), "Projects/a bc/a b") << "a name's beginning only";
  EXPECT_EQ(folder.read("Projects/a bc/a b/C/Note.md"), "note");
}

TEST_F(VaultFolders, GoToTheTrashAndComeBackAsTheyWere) {
  const std::string bytes("\xEF\xBB\xBF\r\n\0\xFF", 7);
  folder.write("Projects/A/Note.md", bytes);
  folder.setModified("Projects/A/Note.md", 1'000'000'000);
  const auto modified = fs::last_write_time(folder.at("Projects/A/Note.md"));
  const std::string note = vault.moveToTrash("Projects/A/Note.md");
  EXPECT_EQ(refusal([&] { vault.moveEmptyFolderToTrash("Projects"); }), changedSince);
  const std::string empty = vault.moveEmptyFolderToTrash("Projects/A");
  EXPECT_FALSE(folder.has("Projects/A"));

  vault.restore(note, "Projects/A/Note.md");
  EXPECT_EQ(folder.read("Projects/A/Note.md"), bytes);
  EXPECT_EQ(fs::last_write_time(folder.at("Projects/A/Note.md")), modified);
  EXPECT_EQ(refusal([&] { vault.restore(empty, "Projects/A"); }), nameTaken);
  EXPECT_TRUE(fs::exists(empty));

  const std::string whole = vault.moveFolderToTrash("Projects");
  EXPECT_TRUE(folder.everything().empty());
  vault.restore(whole, "Archive/Projects");
  EXPECT_EQ(folder.read("Archive/Projects/A/Note.md"), bytes);
  EXPECT_EQ(failure([&] { vault.restore(whole, "Projects"); }), ENOENT);
  EXPECT_EQ(refusal([&] { vault.trash("Archive/.."); }), outsideVault) << "never the vault itself";
}

TEST_F(VaultFolders, SweepsTemporaryFilesAndKeepsThemOutOfGit) {
  for (const char* path : {".vesk-1.tmp", "A/.vesk-2.tmp", ".vesk/.vesk-3.tmp", "A/.vesk-note.md", "A/B.tmp",
                           ".other/.vesk-4.tmp", ".vesk-5.tmp/kept"})
    folder.write(path, "");
  folder.write(".git/info/exclude", "# mine");
  for (int i = 0; i < 2; ++i) vault.prepare();
  EXPECT_EQ(folder.read(".git/info/exclude"), "# mine\n.vesk-*.tmp\n.Trash-*/\n");
  EXPECT_THAT(folder.everything(),
              ElementsAre(".git/", ".git/info/", ".git/info/exclude", ".other/", ".other/.vesk-4.tmp", ".vesk-5.tmp/",
                          ".vesk-5.tmp/kept", ".vesk/", "A/", "A/.vesk-note.md", "A/B.tmp"));

  fs::rename(folder.at(".git"), folder.supportDirectory() + "/git");
  fs::create_directory_symlink(folder.supportDirectory() + "/git", folder.at(".git"));
  fs::resize_file(folder.supportDirectory() + "/git/info/exclude", 0);
  vault.prepare();
  EXPECT_TRUE(fs::is_empty(folder.supportDirectory() + "/git/info/exclude")) << "a repository kept elsewhere";
}

TEST_F(VaultGuard, ResolvesPathsInsideTheVaultOnly) {
  const Vault elsewhere("/tmp/./no/../vault/");
  EXPECT_EQ(elsewhere.resolve(""), "/tmp/vault");
  EXPECT_EQ(elsewhere.resolve("a//./b/../"), "/tmp/vault/a");
  EXPECT_EQ(elsewhere.resolve("..a/..."), "/tmp/vault/..a/...");
  EXPECT_EQ(Vault("/").resolve("a"), "/a");
  for (const char* path : {"..", "a/../../vault/x", "/", "/tmp/vault/x", "../vault-evil"})
    EXPECT_EQ(refusal([&] { elsewhere.resolve(path); }), outsideVault) << path;
  EXPECT_EQ(refusal([&] { elsewhere.resolve(std::string_view("a\0b", 3)); }), outsideVault);
  EXPECT_STREQ(VaultError::outsideVault("..").what(), ".. is outside the vault.");
}

TEST_F(VaultGuard, HoldsInEveryOperation) {
  const std::string outside = folder.supportDirectory() + "/outside";
  fs::create_directories(outside + "/Sub");
  std::ofstream(outside + "/Secret.md") << "secret #tag";
  folder.write("Trashed.md", "secret #tag");
  const std::string trashed = vault.trash("Trashed.md");
  fs::create_directory_symlink(outside, folder.at("Out"));
  fs::create_directory_symlink("../support/outside", folder.at("Up"));
  fs::create_symlink(outside + "/Secret.md", folder.at("Out.md"));
  folder.write("In/Note.md", "note");
  const auto state = [&] {
    return std::tuple(folder.everything(), fs::last_write_time(outside), fs::last_write_time(outside + "/Secret.md"));
  };
  vault.save(Organization::para());  // which makes the settings' folder
  const auto before = state();

  using Operation = std::function<void(const std::string& out)>;
  const std::pair<const char*, Operation> operations[] = {
      {"read", [&](const auto& out) { vault.read(out + "/Secret.md"); }},
      {"save", [&](const auto& out) { vault.save(out + "/Secret.md", "x", {}); }},
      {"append", [&](const auto& out) { vault.append("x", out + "/Secret.md"); }},
      {"removeAppended", [&](const auto& out) { vault.removeAppended("tag", out + "/Secret.md"); }},
      {"restoreText", [&](const auto& out) { vault.restoreText("x", "secret #tag", out + "/Secret.md"); }},
      {"createNote", [&](const auto& out) { vault.createNote("New", "x", {}, out + "/Sub/New"); }},
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
      {"restore", [&](const auto& out) { vault.restore(trashed, out + "/New/Back.md"); }},
      {"adopt",
       [&](const auto& out) {
         vault.adopt({{}, {{Bucket::inbox, out + "/New"}}}, {});
       }},
  };
  for (const auto& [name, operation] : operations)
    for (const std::string out : {"Out", "Up", "..", "../support/outside", "In/../../support/outside", "/tmp"}) {
      SCOPED_TRACE(std::string(name) + " " + out);
      EXPECT_EQ(refusal([&, &run = operation] { run(out); }), outsideVault);
    }
  EXPECT_EQ(refusal([&] { vault.read("Out.md"); }), outsideVault);
  EXPECT_EQ(refusal([&] { vault.append("x", "Out.md"); }), outsideVault);
  EXPECT_EQ(state(), before);
  EXPECT_TRUE(fs::exists(trashed));

  // The link itself is an item of the vault like any other.
  EXPECT_TRUE(fs::is_symlink(vault.trash("Out")));
  EXPECT_TRUE(fs::exists(outside + "/Secret.md"));
}

}  // namespace
}  // namespace vesk
