#include <cerrno>
#include <fstream>
#include <functional>
#include <memory>
#include <stdlib.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "core/platform/FileError.h"
#include "core/platform/Trash.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using test::TemporaryFolder;
using testing::HasSubstr;

const Timestamp deletedAt = *time::parseIso8601("2026-11-21T23:30:05Z");

std::string textOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What the Trash keeps about an item in it.
fs::path infoOf(const fs::path& trashed) {
  return trashed.parent_path().parent_path() / "info" / (trashed.filename().string() + ".trashinfo");
}

unsigned modeOf(const fs::path& path) { return static_cast<unsigned>(fs::symlink_status(path).permissions()); }

int errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const FileError& error) {
    return error.code();
  }
  return 0;
}

TEST(Trash, KeepsTheItemWithWhereAndWhenItWasDeleted) {
  const TemporaryFolder vault;
  vault.write("Orçamento (1)/100%\n.md", "the plan");
  setenv("TZ", "AAA-2", 1);  // two hours ahead of UTC
  tzset();
  const std::string trashed = trash::put(vault.at("Orçamento (1)/100%\n.md"), deletedAt);
  unsetenv("TZ");
  tzset();

  EXPECT_EQ(trashed, vault.trash() + "/files/100%\n.md");
  EXPECT_EQ(textOf(trashed), "the plan");
  EXPECT_EQ(textOf(infoOf(trashed)), "[Trash Info]\nPath=" + vault.path() + "/Or%C3%A7amento%20%281%29/100%25%0A.md\n" +
                                         "DeletionDate=2026-11-22T01:30:05\n");
  EXPECT_TRUE(fs::is_empty(vault.at("Orçamento (1)")));
  for (const char* folder : {"", "/files", "/info"}) EXPECT_EQ(modeOf(vault.trash() + folder), 0700u) << folder;
  EXPECT_EQ(modeOf(infoOf(trashed)), 0600u);
}

TEST(Trash, NumbersNamesThatAreTaken) {
  const TemporaryFolder vault;
  const auto trashAgain = [&](const std::string& name, const std::string& text) {
    vault.write(name, text);
    return fs::path(trash::put(vault.at(name), deletedAt)).filename().string();
  };
  EXPECT_EQ(trashAgain("Plan.md", "1"), "Plan.md");
  EXPECT_EQ(trashAgain("Plan.md", "2"), "Plan 2.md");
  EXPECT_EQ(trashAgain("Plan.md", "3"), "Plan 3.md");
  EXPECT_EQ(textOf(vault.trash() + "/files/Plan.md"), "1");
  EXPECT_EQ(trashAgain(".hidden", ""), ".hidden");
  EXPECT_EQ(trashAgain(".hidden", ""), ".hidden 2");

  // A name is taken by what is left of either half of an entry.
  fs::remove(vault.trash() + "/files/Plan.md");
  fs::remove(vault.trash() + "/info/Plan 2.md.trashinfo");
  EXPECT_EQ(trashAgain("Plan.md", "4"), "Plan 4.md");
  EXPECT_EQ(textOf(vault.trash() + "/files/Plan 2.md"), "2");

  for (int i = 0; i < 2; ++i) vault.write("v1.2 notes/Note.md", ""), trash::put(vault.at("v1.2 notes/"), deletedAt);
  EXPECT_TRUE(fs::exists(vault.trash() + "/files/v1.2 notes 2/Note.md"));
}

TEST(Trash, CutsNamesThatLeaveNoRoomForTheInfoFile) {
  const TemporaryFolder vault;
  std::string accents = "a";
  while (accents.size() < 250) accents += "\u0301";
  std::string umlauts = "x";
  while (umlauts.size() < 251) umlauts += "ü";
  for (const std::string& stem : {umlauts, accents, "short." + std::string(240, 'e')})
    for (int i = 0; i < 2; ++i) {
      vault.write(stem + ".md", "kept");
      const fs::path trashed = trash::put(vault.at(stem + ".md"), deletedAt);
      EXPECT_EQ(trashed.extension(), ".md");
      EXPECT_LE(trashed.filename().string().size(), 245u);
      EXPECT_EQ(textOf(trashed), "kept");
    }
  EXPECT_TRUE(fs::exists(vault.trash() + "/files/" + umlauts.substr(0, 241) + ".md"));
}

TEST(Trash, RestoresWithoutReplacingAndFailsCleanly) {
  const TemporaryFolder vault;
  vault.write("Plan.md", "old");
  const std::string trashed = trash::put(vault.at("Plan.md"), deletedAt);
  vault.write("Plan.md", "new");
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("Plan.md")); }), EEXIST);
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("No folder/Plan.md")); }), ENOENT);
  EXPECT_EQ(vault.read("Plan.md"), "new");
  EXPECT_TRUE(fs::exists(infoOf(trashed)));

  trash::restore(trashed, vault.at("Back.md"));
  EXPECT_EQ(vault.read("Back.md"), "old");
  EXPECT_FALSE(fs::exists(trashed));
  EXPECT_FALSE(fs::exists(infoOf(trashed)));
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("Again.md")); }), ENOENT);

  EXPECT_EQ(errorOf([&] { trash::put(vault.at("Missing.md"), deletedAt); }), ENOENT);
  const fs::path home = fs::path(vault.trash()).parent_path();
  EXPECT_EQ(errorOf([&] { trash::put(home, deletedAt); }), EINVAL) << "it can't go into itself";
  EXPECT_TRUE(fs::is_empty(vault.trash() + "/info"));
}

// On the small mount that most systems have for shared memory.
TEST(Trash, OfAnotherMountIsThereAndIsTrusted) {
  const fs::path top = "/dev/shm";
  const fs::path shared = top / ".Trash";
  const fs::path own = top / (".Trash-" + std::to_string(getuid()));
  const TemporaryFolder home;
  struct stat here = {};
  struct stat there = {};
  if (stat(home.path().c_str(), &here) != 0 || stat(top.c_str(), &there) != 0 || here.st_dev == there.st_dev ||
      access(top.c_str(), W_OK) != 0 || fs::exists(fs::symlink_status(shared)))
    GTEST_SKIP() << "needs a free /dev/shm";
  std::string folder = top / "vesk-test-XXXXXX";
  ASSERT_TRUE(mkdtemp(folder.data()));
  const std::shared_ptr<void> cleaner(nullptr, [&](void*) {
    fs::remove_all(folder);
    fs::remove_all(shared);
    std::error_code isUsedByOthers;
    for (const char* part : {"files", "info", ""}) fs::remove(own / part, isUsedByOthers);
  });
  fs::create_directory_symlink(folder, home.at("Linked"));
  const std::string item = home.at("Linked/Täglich.md");
  std::ofstream(item) << "text";
  // Where the item lands; it is restored at once, as others may use that Trash as well.
  const auto landing = [&] {
    const fs::path trashed = trash::put(item, deletedAt);
    EXPECT_THAT(textOf(infoOf(trashed)), HasSubstr("\nPath=" + folder.substr(9) + "/T%C3%A4glich.md\n"));
    trash::restore(trashed, item);
    return trashed.parent_path().parent_path();
  };
  EXPECT_EQ(landing(), own);
  EXPECT_EQ(modeOf(own), 0700u);
  fs::create_directory_symlink(folder, shared);
  fs::permissions(folder, fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(landing(), own) << "a linked .Trash isn't trusted";
  fs::remove(shared);
  fs::create_directory(shared);
  EXPECT_EQ(landing(), own) << "nor one that everyone may clear";
  fs::permissions(shared, fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(landing(), shared / std::to_string(getuid()));
  EXPECT_EQ(modeOf(shared / std::to_string(getuid())), 0700u);
}

}  // namespace
}  // namespace vesk
