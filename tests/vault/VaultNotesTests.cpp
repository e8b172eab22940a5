#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <set>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/xattr.h>

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

std::string repeated(std::string_view text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

class VaultNotes : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const Vault vault{folder.path()};
};

TEST_F(VaultNotes, MakesFileNamesOfTitles) {
  struct Case {
    std::string title;
    std::optional<std::string> name;
  };
  const Case cases[] = {
      {"a/b: c?", "a b c"},
      {R"(1/2\3:4*5?6"7<8>9|0#a^b[c]d)", "1 2 3 4 5 6 7 8 9 0 a b c d"},
      {" \t two\r\n lines\u2003wide ", "two lines wide"},
      {std::string("nul\0and\x01\x7F", 9), "nul and"},
      {"v1.2 (final)'s", "v1.2 (final)'s"},
      {"  ", {}},
      {"", {}},
      {"///", {}},
      {".hidden", {}},
      {" .hidden", {}},
      {"/../up", {}},
      {"a/../b", "a .. b"},
      {"\xFFnot text", {}},
      {"a" + repeated("\u0301", 200), {}},  // one letter that no file system takes
      {repeated("x", 200), repeated("x", 120)},
      {repeated("x", 119) + " y", repeated("x", 119)},
      {repeated("e\u0301", 121), repeated("e\u0301", 85)},
      {repeated("😀", 200), repeated("😀", 63)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.title));
    if (c.name) {
      EXPECT_EQ(Vault::fileName(c.title), *c.name);
    } else {
      EXPECT_EQ(refusal([&] { Vault::fileName(c.title); }), invalidName);
    }
  }
}

TEST_F(VaultNotes, CreatesANoteUnderTheFirstFreeName) {
  EXPECT_EQ(vault.createNote("Plan", "one", {}, "Projects/New"), "Projects/New/Plan.md");
  EXPECT_EQ(vault.createNote(" Plan ", "two", {"a b", "c"}, "Projects/New/"), "Projects/New/Plan 2.md");
  EXPECT_EQ(vault.createNote("Plan", "", {}, "Projects/./New"), "Projects/New/Plan 3.md");
  EXPECT_EQ(folder.read("Projects/New/Plan.md"), "one");
  EXPECT_EQ(folder.read("Projects/New/Plan 2.md"), "---\ntags: [a b, c]\n---\ntwo");
  EXPECT_EQ(vault.createNote(" \n", "", {}, ""), "Untitled.md");
  fs::create_symlink("nowhere", folder.at("Link.md"));
  EXPECT_EQ(vault.createNote("Link", "", {}, ""), "Link 2.md") << "a dangling link has that name";

  const std::string wide = repeated("😀", 120);
  EXPECT_EQ(vault.createNote(wide, "", {}, ""), repeated("😀", 63) + ".md");
  EXPECT_EQ(vault.createNote(wide, "", {}, ""), repeated("😀", 62) + " 2.md");
  EXPECT_EQ(refusal([&] { vault.createNote(".x", "", {}, "Unmade"); }), invalidName);
  EXPECT_EQ(refusal([&] { vault.createNote("a" + repeated("\u0301", 126), "", {}, ""); }), invalidName);
  EXPECT_FALSE(folder.has("Unmade"));
  EXPECT_EQ(failure([&] { vault.createNote("x", "", {}, "Untitled.md"); }), ENOTDIR);
}

TEST(VaultCreators, GetAFileOfTheirOwnEach) {
  const test::InMemory memory;
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  std::vector<std::set<std::string>> made(8);
  {
    std::vector<std::jthread> creators;
    for (std::size_t i = 0; i < made.size(); ++i)
      creators.emplace_back([&, i] {
        for (int k = 0; k < 50; ++k) {
          const std::string body = fmt::format("{}", i) + std::string(2000, 'x') + fmt::format("{}", i);
          made[i].insert(vault.createNote("Plan", body, {}, ""));
        }
      });
  }
  std::set<std::string> all;
  for (std::size_t i = 0; i < made.size(); ++i) {
    for (const std::string& id : made[i])
      ASSERT_EQ(folder.read(id), fmt::format("{0}{1}{0}", i, std::string(2000, 'x')));
    all.insert(made[i].begin(), made[i].end());
  }
  EXPECT_EQ(all.size(), 400u);
  EXPECT_EQ(folder.everything().size(), 400u) << "and nothing else";
}

TEST_F(VaultNotes, SavesOnlyWhatTheWriterHasSeen) {
  const std::string text = "---\nx: 1\ntags: [a]\n---\nbody\n";
  folder.write("Note.md", text);
  for (const std::string& other : {text + "\n", text.substr(0, text.size() - 1), std::string(), "X" + text.substr(1)}) {
    EXPECT_EQ(refusal([&] { vault.save("Note.md", "new", {}, other); }), conflict);
    EXPECT_EQ(folder.read("Note.md"), text);
  }
  folder.setModified("Note.md", 1'000'000'000);
  EXPECT_EQ(vault.save("Note.md", "new", {"b"}, text), "---\nx: 1\ntags: [b]\n---\nnew") << "dates play no part";
  EXPECT_EQ(vault.save("Note.md", "newer", {}), "---\nx: 1\n---\nnewer");
  EXPECT_EQ(folder.read("Note.md"), "---\nx: 1\n---\nnewer");
  EXPECT_EQ(failure([&] { vault.save("Missing.md", "", {}, ""); }), ENOENT);
  EXPECT_EQ(failure([&] { vault.save("Missing.md", "", {}); }), ENOENT);
  EXPECT_THAT(folder.everything(), ElementsAre("Note.md"));
}

TEST_F(VaultNotes, LosesNoSaveOfTwoProcesses) {
  folder.write("Note.md", "");
  const auto save50 = [&](char writer) {
    for (int saved = 0; saved < 50;) {
      const std::string seen = vault.read("Note.md");
      if (!refusal([&] { vault.save("Note.md", seen + fmt::format("{}{}\n", writer, saved), {}, seen); })) ++saved;
    }
    return true;
  };
  const pid_t first = test::inChild([&] { return save50('a'); });
  const pid_t second = test::inChild([&] { return save50('b'); });
  EXPECT_TRUE(test::endedWell(first));
  EXPECT_TRUE(test::endedWell(second));
  const std::string text = folder.read("Note.md");
  for (int i = 0; i < 50; ++i)
    for (const char writer : {'a', 'b'}) EXPECT_NE(text.find(fmt::format("{}{}\n", writer, i)), std::string::npos);
}

TEST_F(VaultNotes, AppendsOnALineOfItsOwnAndTakesThatBack) {
  struct Case {
    std::string before;
    std::string after;
  };
  const Case cases[] = {{"a\n", "a\nadded"},
                        {"a", "a\nadded"},
                        {"a\r\nb", "a\r\nb\r\nadded"},
                        {"a\r\nb\r\n", "a\r\nb\r\nadded"},
                        {"", "added"},
                        {"a\nb\r\nc", "a\nb\r\nc\nadded"},
                        {"---\nx: 1\n---", "---\nx: 1\n---\nadded"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.before));
    folder.write("Note.md", c.before);
    EXPECT_EQ(vault.append("added", "Note.md"), c.after);
    EXPECT_EQ(folder.read("Note.md"), c.after);
    vault.removeAppended("added", "Note.md");
    EXPECT_EQ(folder.read("Note.md"), c.after.substr(0, c.after.size() - 5));
    EXPECT_EQ(refusal([&] { vault.removeAppended("added", "Note.md"); }), changedSince);
  }
}

TEST_F(VaultNotes, RestoresATextOnlyOverWhatTheActionWrote) {
  folder.write("Board.canvas", "{}");
  EXPECT_EQ(refusal([&] { vault.restoreText("old", "{} ", "Board.canvas"); }), changedSince);
  EXPECT_EQ(folder.read("Board.canvas"), "{}");
  vault.restoreText("old", "{}", "Board.canvas");
  EXPECT_EQ(folder.read("Board.canvas"), "old");
}

TEST_F(VaultNotes, RenamesAndMovesWithoutReplacing) {
  folder.write("A/Plan.md", "plan");
  folder.write("A/Taken.md", "taken");
  folder.write("B/Plan.md", "other");
  folder.setModified("A/Plan.md", 1'000'000'000);
  const auto before = folder.everything();
  EXPECT_EQ(refusal([&] { vault.rename("A/Plan.md", "Taken"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.move("A/Plan.md", "B"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.rename("A/Plan.md", " / "); }), invalidName);
  EXPECT_EQ(failure([&] { vault.rename("A/Missing.md", "New"); }), ENOENT);
  EXPECT_EQ(failure([&] { vault.move("A/Missing.md", "C"); }), ENOENT);
  EXPECT_EQ(vault.rename("A/Plan.md", "Plan"), "A/Plan.md") << "onto itself";
  EXPECT_EQ(vault.move("A/Plan.md", "A"), "A/Plan.md");
  EXPECT_EQ(refusal([&] { vault.movePath("A", "A/B/C"); }), invalidMove);
  EXPECT_EQ(refusal([&] { vault.movePath("", "C"); }), invalidMove);
  EXPECT_EQ(folder.everything(), before);
  EXPECT_EQ(folder.read("A/Taken.md"), "taken");

  EXPECT_EQ(vault.rename("A/Plan.md", "plan: B/C"), "A/plan B C.md");
  EXPECT_EQ(vault.rename("A/plan B C.md", "PLAN b c"), "A/PLAN b c.md") << "its case only";
  EXPECT_EQ(vault.move("A/PLAN b c.md", "New/Deep"), "New/Deep/PLAN b c.md");
  EXPECT_EQ(folder.read("New/Deep/PLAN b c.md"), "plan");
  const VaultSnapshot snapshot = vault.scan();
  EXPECT_EQ(snapshot.notes.back()->modified, Timestamp(std::chrono::seconds(1'000'000'000)));
}

TEST_F(VaultNotes, MakesTheDailyNoteOnce) {
  using namespace std::chrono_literals;
  const auto day = 2026y / 11 / 5;
  EXPECT_EQ(vault.journalNote("{{date}}", "Journal", "# {{title}}\n{{date}} {{date}} {{other}}\n", day),
            "Journal/{{date}}.md");
  EXPECT_EQ(folder.read("Journal/{{date}}.md"), "# {{date}}\n2026-11-05 2026-11-05 {{other}}\n");
  vault.append("mine", "Journal/{{date}}.md");
  vault.journalNote("{{date}}", "Journal", "again", day);
  EXPECT_EQ(folder.read("Journal/{{date}}.md"), "# {{date}}\n2026-11-05 2026-11-05 {{other}}\nmine");
}

TEST_F(VaultNotes, KeepsModeAndCreationDateOverASave) {
  folder.write("Note.md", "a");
  if (::setxattr(folder.at("Note.md").c_str(), "user.mine", "kept", 4, 0) != 0) GTEST_SKIP() << "needs attributes";
  fs::permissions(folder.at("Note.md"), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  const Timestamp created = vault.scan().notes.at(0)->created;
  ASSERT_NE(created, distantPast);
  for (const char* body : {"b", "c"}) {
    vault.save("Note.md", body, {});
    EXPECT_EQ(vault.scan().notes.at(0)->created, created);
  }
  EXPECT_EQ(fs::status(folder.at("Note.md")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  char value[8];
  EXPECT_EQ(::getxattr(folder.at("Note.md").c_str(), "user.mine", value, sizeof value), 4);

  const auto modified = fs::last_write_time(folder.at("Note.md"));
  vault.save("Note.md", "c", {});
  EXPECT_EQ(fs::last_write_time(folder.at("Note.md")), modified) << "the same text is not written";
}

TEST_F(VaultNotes, WritesThroughALinkThatStaysInside) {
  folder.write("Real/Note.md", "a");
  fs::create_symlink("Real/Note.md", folder.at("Link.md"));
  vault.append("b", "Link.md");
  EXPECT_TRUE(fs::is_symlink(folder.at("Link.md")));
  EXPECT_EQ(folder.read("Real/Note.md"), "a\nb");
}

// Every writer fails with a sentence and leaves the old text and nothing else.
bool failsCleanly(const TemporaryFolder& folder, const Vault& vault, int code) {
  const std::string large(1 << 20, 'x');
  const std::string old = folder.read("Note.md");
  const auto fails = [&](const std::function<void()>& write) {
    return failure(write) == code && folder.read("Note.md") == old && folder.everything().size() == 1;
  };
  return fails([&] { vault.save("Note.md", large, {"t"}, old); }) && fails([&] { vault.append(large, "Note.md"); }) &&
         fails([&] { vault.createNote("New", large, {}, ""); }) &&
         fails([&] { vault.restoreText(large, old, "Note.md"); });
}

TEST_F(VaultNotes, KeepTheOldTextWhenThereIsNoRoom) {
  folder.write("Note.md", std::string(4096, 'o'));
  EXPECT_TRUE(test::endedWell(test::inChild([&] {
    const rlimit limit = {64 << 10, 64 << 10};
    return std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && ::setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
           failsCleanly(folder, vault, EFBIG);
  })));
  EXPECT_EQ(folder.read("Note.md"), std::string(4096, 'o'));
}

TEST_F(VaultNotes, KeepTheOldTextWhenTheDiskIsFull) {
  constexpr int cannotMount = 2;
  const pid_t child = ::fork();
  if (child == 0) {
    // A mount that only this process sees, and that ends with it.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder.path().c_str(), "tmpfs", 0, "size=256k") != 0)
      ::_exit(cannotMount);
    folder.write("Note.md", std::string(4096, 'o'));
    ::_exit(failsCleanly(folder, vault, ENOSPC) ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == cannotMount) GTEST_SKIP() << "needs the right to mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vesk
