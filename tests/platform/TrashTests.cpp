#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/platform/FileError.h"
#include "core/platform/Trash.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using test::TemporaryFolder;
using testing::HasSubstr;
using testing::StartsWith;

const Timestamp deletedAt = *time::parseIso8601("2026-11-21T23:30:05Z");

std::string textOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t modeOf(const fs::path& path) {
  struct stat info = {};
  return lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777u : 0;
}

int errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const FileError& error) {
    return error.code();
  }
  return 0;
}

// A time zone of its own for as long as it lives.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) : before_(std::getenv("TZ") ? std::getenv("TZ") : "") { set(zone); }
  ~TimeZone() { set(before_); }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  static void set(const std::string& zone) {
    if (zone.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", zone.c_str(), 1);
    }
    tzset();
  }
  std::string before_;
};

TEST(Trash, KeepsTheItemWithWhereAndWhenItWasDeleted) {
  const TimeZone zone("AAA-2");  // two hours ahead of UTC
  const TemporaryFolder vault;
  vault.write("Projects/Plan.md", "the plan");

  const std::string trashed = trash::put(vault.at("Projects/Plan.md"), deletedAt);

  EXPECT_EQ(trashed, vault.trash() + "/files/Plan.md");
  EXPECT_EQ(textOf(trashed), "the plan");
  EXPECT_FALSE(vault.has("Projects/Plan.md"));
  EXPECT_EQ(textOf(vault.trash() + "/info/Plan.md.trashinfo"),
            "[Trash Info]\nPath=" + vault.at("Projects/Plan.md") + "\nDeletionDate=2026-11-22T01:30:05\n");
  for (const char* folder : {"", "/files", "/info"}) EXPECT_EQ(modeOf(vault.trash() + folder), 0700u) << folder;
  EXPECT_EQ(modeOf(vault.trash() + "/info/Plan.md.trashinfo"), 0600u);
}

TEST(Trash, WritesPathsInPercentEncoding) {
  struct Case {
    std::string name;
    std::string encoded;
  };
  const Case cases[] = {
      {"To do (1).md", "To%20do%20%281%29.md"},
      {"Orçamento 100%.md", "Or%C3%A7amento%20100%25.md"},
      {"two\nlines.md", "two%0Alines.md"},
      {"a-b_c~d.e", "a-b_c~d.e"},
  };
  const TemporaryFolder vault;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    vault.write(c.name, "");
    const fs::path trashed = trash::put(vault.at(c.name), deletedAt);
    EXPECT_EQ(trashed.filename(), c.name);
    EXPECT_THAT(textOf(vault.trash() + "/info/" + c.name + ".trashinfo"),
                HasSubstr("\nPath=" + vault.path() + "/" + c.encoded + "\n"));
  }
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

TEST(Trash, FindsAFreeNameAmongAThousandQuickly) {
  const TemporaryFolder vault;
  fs::create_directories(vault.trash() + "/files");
  for (int i = 2; i <= 1000; ++i) std::ofstream(vault.trash() + "/files/Plan " + std::to_string(i) + ".md");
  std::ofstream(vault.trash() + "/files/Plan.md");
  vault.write("Plan.md", "");

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(trash::put(vault.at("Plan.md"), deletedAt), vault.trash() + "/files/Plan 1001.md");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Trash, CutsNamesThatLeaveNoRoomForTheInfoFile) {
  const TemporaryFolder vault;
  std::string accents = "a";
  while (accents.size() < 250) accents += "\u0301";
  std::string umlauts = "x";
  while (umlauts.size() < 251) umlauts += "ü";
  for (const std::string& stem : {umlauts, accents, "short." + std::string(240, 'e')}) {
    SCOPED_TRACE(stem);
    for (int i = 0; i < 2; ++i) {
      vault.write(stem + ".md", "kept");
      const fs::path trashed = trash::put(vault.at(stem + ".md"), deletedAt);
      EXPECT_EQ(trashed.extension(), ".md");
      EXPECT_LE(trashed.filename().string().size(), 245u);
      EXPECT_EQ(textOf(trashed), "kept");
    }
  }
  EXPECT_TRUE(fs::exists(vault.trash() + "/files/" + umlauts.substr(0, 241) + ".md"));
}

TEST(Trash, TakesFoldersWholeAndLinksThemselves) {
  const TemporaryFolder vault;
  vault.write("Projects/Garden/Plan.md", "plan");
  fs::create_symlink(vault.at("Projects"), vault.at("Link"));
  fs::create_symlink("nowhere", vault.at("Dangling"));

  EXPECT_TRUE(fs::is_symlink(trash::put(vault.at("Link"), deletedAt)));
  EXPECT_TRUE(fs::is_symlink(trash::put(vault.at("Dangling"), deletedAt)));
  EXPECT_TRUE(vault.has("Projects/Garden/Plan.md"));
  EXPECT_EQ(textOf(trash::put(vault.at("Projects"), deletedAt) + "/Garden/Plan.md"), "plan");
  EXPECT_TRUE(vault.everything().empty());
}

TEST(Trash, LeavesNothingBehindWhenItFails) {
  const TemporaryFolder vault;
  EXPECT_EQ(errorOf([&] { trash::put(vault.at("Missing.md"), deletedAt); }), ENOENT);
  EXPECT_EQ(errorOf([&] { trash::put(vault.at("No/Folder.md"), deletedAt); }), ENOENT);
  EXPECT_FALSE(fs::exists(vault.trash()));

  // The Trash's own home can't go into the Trash.
  EXPECT_EQ(errorOf([&] { trash::put(fs::path(vault.trash()).parent_path(), deletedAt); }), EINVAL);
  EXPECT_TRUE(fs::is_empty(vault.trash() + "/info"));
}

TEST(Trash, RestoresWithoutReplacing) {
  const TemporaryFolder vault;
  vault.write("Plan.md", "old");
  const std::string trashed = trash::put(vault.at("Plan.md"), deletedAt);

  vault.write("Plan.md", "new");
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("Plan.md")); }), EEXIST);
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("No folder/Plan.md")); }), ENOENT);
  EXPECT_EQ(vault.read("Plan.md"), "new");
  EXPECT_TRUE(fs::exists(vault.trash() + "/info/Plan.md.trashinfo"));

  trash::restore(trashed, vault.at("Back.md"));
  EXPECT_EQ(vault.read("Back.md"), "old");
  EXPECT_TRUE(fs::is_empty(vault.trash() + "/files"));
  EXPECT_TRUE(fs::is_empty(vault.trash() + "/info"));
  EXPECT_EQ(errorOf([&] { trash::restore(trashed, vault.at("Again.md")); }), ENOENT);
}

// A folder on the small mount that most systems have for shared memory.
class OtherMount : public testing::Test {
 protected:
  void SetUp() override {
    struct stat here = {};
    struct stat there = {};
    const bool isOther = stat(home_.path().c_str(), &here) == 0 && stat(top_.c_str(), &there) == 0 &&
                         here.st_dev != there.st_dev && access(top_.c_str(), W_OK) == 0;
    if (!isOther || fs::exists(fs::symlink_status(shared_))) GTEST_SKIP() << "needs a free /dev/shm";
    std::string pattern = (top_ / "vesk-test-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(pattern.data()));
    folder_ = pattern;
  }
  void TearDown() override {
    if (folder_.empty()) return;
    fs::remove_all(folder_);
    fs::remove_all(shared_);
    std::error_code isUsedByOthers;
    for (const char* part : {"files", "info", ""}) fs::remove(own_ / part, isUsedByOthers);
  }

  // Where an item of that mount lands; it is restored at once, as others may use that Trash as well.
  fs::path landing() {
    const fs::path item = folder_ / "Täglich.md";
    std::ofstream(item) << "text";
    const fs::path trashed = trash::put(item.string(), deletedAt);
    info_ = textOf(trashed.parent_path().parent_path() / "info" / (trashed.filename().string() + ".trashinfo"));
    trash::restore(trashed.string(), item.string());
    EXPECT_EQ(textOf(item), "text");
    return trashed.parent_path().parent_path();
  }

  TemporaryFolder home_;
  const fs::path top_ = "/dev/shm";
  const fs::path shared_ = top_ / ".Trash";
  const fs::path own_ = top_ / (".Trash-" + std::to_string(getuid()));
  fs::path folder_;
  std::string info_;
};

TEST_F(OtherMount, HasATrashOfItsOwn) {
  EXPECT_EQ(landing(), own_);
  EXPECT_EQ(modeOf(own_), 0700u);
  EXPECT_THAT(info_, HasSubstr("\nPath=" + folder_.filename().string() + "/T%C3%A4glich.md\n"));
  EXPECT_FALSE(fs::exists(home_.trash()));

  fs::create_directory_symlink(folder_, home_.at("Linked"));
  const std::string trashed = trash::put(home_.at("Linked/Täglich.md"), deletedAt);
  EXPECT_THAT(trashed, StartsWith(own_.string()));
  trash::restore(trashed, home_.at("Linked/Täglich.md"));

  fs::create_directory_symlink(folder_, shared_);
  fs::permissions(folder_, fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(landing(), own_) << "a linked .Trash isn't trusted";

  fs::remove(shared_);
  fs::create_directory(shared_);
  EXPECT_EQ(landing(), own_) << "nor one that everyone may clear";

  fs::permissions(shared_, fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(landing(), shared_ / std::to_string(getuid()));
  EXPECT_EQ(modeOf(shared_ / std::to_string(getuid())), 0700u);
}

}  // namespace
}  // namespace vesk
