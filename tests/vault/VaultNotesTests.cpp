#include <cerrno>
#include <csignal>
#include <set>
#include <thread>

#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/xattr.h>

#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using enum VaultError::Kind;
using VaultNotes = test::VaultTest;
using test::failure;
using test::refusal;

std::string repeated(std::string_view text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST_F(VaultNotes, MakesFileNamesOfTitles) {
  const std::pair<std::string, std::string> names[] = {
      {R"(1/2\3:4*5?6"7<8>9|0#a^b[c]d)", "1 2 3 4 5 6 7 8 9 0 a b c d"},
      {" \t two\r\n lines\u2003wide ", "two lines wide"},
      {std::string("nul\0and\x01\x7F", 9), "nul and"},
      {"v1.2 (final)'s", "v1.2 (final)'s"},
      {"a/../b", "a .. b"},
      {repeated("x", 119) + " y", repeated("x", 119)},
      {repeated("e\u0301", 121), repeated("e\u0301", 85)},
      {repeated("😀", 200), repeated("😀", 63)}};
  for (const auto& [title, name] : names) EXPECT_EQ(Vault::fileName(title), name) << title;
  // The last one is one letter that no file system takes.
  for (const std::string& title : {std::string("  "), std::string("///"), std::string(" .hidden"),
                                   std::string("/../up"), std::string("\xFFnot text"), "a" + repeated("\u0301", 200)})
    EXPECT_EQ(refusal([&] { Vault::fileName(title); }), invalidName) << title;
}

TEST_F(VaultNotes, CreatesANoteUnderTheFirstFreeName) {
  EXPECT_EQ(vault.createNote("Plan", "one", {}, "Projects/New"), "Projects/New/Plan.md");
  EXPECT_EQ(vault.createNote(" Plan ", "two", {"a b", "c"}, "Projects/./New/"), "Projects/New/Plan 2.md");
  EXPECT_EQ(folder.read("Projects/New/Plan.md"), "one");
  EXPECT_EQ(folder.read("Projects/New/Plan 2.md"), "---\ntags: [a b, c]\n---\ntwo");
  EXPECT_EQ(vault.createNote("Own", "---\nx: 1\ntags: [a]\n---\nb", {"c"}, ""), "Own.md");
  EXPECT_EQ(folder.read("Own.md"), "---\nx: 1\ntags: [a, c]\n---\nb");
  EXPECT_EQ(vault.createNote("AGENTS", "", {}, ""), "AGENTS 2.md") << "which would be no note";
  EXPECT_EQ(vault.createNote(" \n", "", {}, ""), "Untitled.md");
  fs::create_symlink("nowhere", folder.at("Link.md"));
  EXPECT_EQ(vault.createNote("Link", "", {}, ""), "Link 2.md") << "a dangling link has that name";
  const std::string wide = repeated("😀", 120);
  EXPECT_EQ(vault.createNote(wide, "", {}, ""), repeated("😀", 63) + ".md");
  EXPECT_EQ(vault.createNote(wide, "", {}, ""), repeated("😀", 62) + " 2.md");
  EXPECT_EQ(refusal([&] { vault.createNote(".x", "", {}, "Unmade"); }), invalidName);
  EXPECT_FALSE(folder.has("Unmade"));
  EXPECT_EQ(failure([&] { vault.createNote("x", "", {}, "Untitled.md"); }), ENOTDIR);
}

TEST_F(VaultNotes, GoIntoAFileOfTheirOwnEach) {
  std::vector<std::set<std::string>> made(8);
  const auto body = [](std::size_t creator) { return std::string(2000, static_cast<char>('a' + creator)); };
  std::vector<std::jthread> creators;
  for (std::size_t i = 0; i < made.size(); ++i)
    creators.emplace_back([&, i] {
      for (int k = 0; k < 20; ++k) made[i].insert(vault.createNote("Plan", body(i), {}, ""));
    });
  creators.clear();
  for (std::size_t i = 0; i < made.size(); ++i) {
    EXPECT_EQ(made[i].size(), 20u);
    for (const std::string& id : made[i]) ASSERT_EQ(folder.read(id), body(i));
  }
  EXPECT_EQ(folder.everything().size(), 160u);
}

TEST_F(VaultNotes, SavesOnlyWhatTheWriterHasSeen) {
  const std::string text = "---\nx: 1\ntags: [a]\n---\nbody\n";
  folder.write("Note.md", text);
  for (const std::string& other : {text + "\n", text.substr(1), std::string()})
    EXPECT_EQ(refusal([&] { vault.save("Note.md", "new", {}, other); }), conflict);
  EXPECT_EQ(folder.read("Note.md"), text);
  folder.setModified("Note.md", 1'000'000'000);
  EXPECT_EQ(vault.save("Note.md", "new", {"b"}, text), "---\nx: 1\ntags: [b]\n---\nnew") << "dates play no part";
  EXPECT_EQ(vault.save("Note.md", "newer", {}), "---\nx: 1\n---\nnewer");
  EXPECT_EQ(folder.read("Note.md"), "---\nx: 1\n---\nnewer");
  EXPECT_EQ(failure([&] { vault.save("Missing.md", "", {}, ""); }), ENOENT);

  // A body that looks like front matter stays the body.
  const std::string body = "---\nHello\n---\nrest";
  const std::string first = vault.save("Note.md", body, {});
  folder.write("Bare.md", "bare");
  const std::string apart = vault.save("Bare.md", body, {}, "bare");
  EXPECT_EQ(vault.save("Bare.md", body, {}, apart), apart);
  EXPECT_EQ(vault.note("Bare.md")->body, body);
  fs::remove(folder.at("Bare.md"));

  EXPECT_EQ(refusal([&] { vault.restoreText("old", "other", "Note.md"); }), changedSince);
  vault.restoreText("old", first, "Note.md");
  EXPECT_EQ(folder.read("Note.md"), "old");
  EXPECT_EQ(folder.everything().size(), 1u);
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
    for (const char writer : {'a', 'b'}) EXPECT_THAT(text, testing::HasSubstr(fmt::format("{}{}\n", writer, i)));
}

TEST_F(VaultNotes, AppendsOnALineOfItsOwnAndTakesThatBack) {
  const std::pair<std::string, std::string> cases[] = {{"a\n", "a\n"},
                                                       {"a", "a\n"},
                                                       {"a\r\nb", "a\r\nb\r\n"},
                                                       {"", ""},
                                                       {"a\nb\r\nc", "a\nb\r\nc\n"},
                                                       {"---\nx: 1\n---", "---\nx: 1\n---\n"}};
  for (const auto& [before, whole] : cases) {
    SCOPED_TRACE(testing::PrintToString(before));
    folder.write("Note.md", before);
    EXPECT_EQ(vault.append("added", "Note.md").after, whole + "added");
    EXPECT_EQ(folder.read("Note.md"), whole + "added");
    vault.removeAppended("added", "Note.md");
    EXPECT_EQ(folder.read("Note.md"), whole);
    EXPECT_EQ(refusal([&] { vault.removeAppended("added", "Note.md"); }), changedSince);
  }
}

TEST_F(VaultNotes, RenamesAndMovesWithoutReplacing) {
  for (const char* path : {"A/Plan.md", "A/Taken.md", "B/Plan.md"}) folder.write(path, path);
  folder.setModified("A/Plan.md", 1'000'000'000);
  const auto before = folder.everything();
  EXPECT_EQ(refusal([&] { vault.rename("A/Plan.md", "Taken"); }), nameTaken);
  EXPECT_EQ(refusal([&] { vault.move("A/Plan.md", "B"); }), nameTaken);
  EXPECT_EQ(failure([&] { vault.rename("A/Missing.md", "New"); }), ENOENT);
  EXPECT_EQ(vault.rename("A/Plan.md", "Plan"), "A/Plan.md") << "onto itself";
  EXPECT_EQ(vault.move("A/Plan.md", "A"), "A/Plan.md");
  EXPECT_EQ(refusal([&] { vault.movePath("A", "A/B/C"); }), invalidMove);
  EXPECT_EQ(folder.everything(), before);
  EXPECT_EQ(folder.read("A/Taken.md"), "A/Taken.md");

  EXPECT_EQ(vault.rename("A/Plan.md", "plan: B/C"), "A/plan B C.md");
  EXPECT_EQ(vault.rename("A/plan B C.md", "PLAN b c"), "A/PLAN b c.md") << "its case only";
  EXPECT_EQ(vault.move("A/PLAN b c.md", "New/Deep"), "New/Deep/PLAN b c.md");
  EXPECT_EQ(folder.read("New/Deep/PLAN b c.md"), "A/Plan.md");
  EXPECT_EQ(vault.scan().notes.back()->modified, Timestamp(std::chrono::seconds(1'000'000'000)));
}

TEST_F(VaultNotes, MakesTheDailyNoteOnce) {
  using namespace std::chrono_literals;
  const std::string_view noteTemplate = "# {{title}}\n{{date}} {{date}} {{other}}\n";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(vault.journalNote("{{date}}", "Journal", noteTemplate, 2026y / 11 / 5), "Journal/{{date}}.md");
    EXPECT_EQ(folder.read("Journal/{{date}}.md"),
              "# {{date}}\n2026-11-05 2026-11-05 {{other}}\n" + repeated("mine", i));
    vault.append("mine", "Journal/{{date}}.md");
  }
}

TEST_F(VaultNotes, KeepsWhatBelongsToAFileOverASave) {
  folder.write("Real/Note.md", "a");
  const std::string file = folder.at("Real/Note.md");
  fs::create_symlink("Real/Note.md", folder.at("Link.md"));
  if (::setxattr(file.c_str(), "user.mine", "kept", 4, 0) != 0) GTEST_SKIP() << "needs attributes";
  fs::permissions(file, fs::perms::owner_all | fs::perms::group_read);
  const Timestamp created = vault.scan().notes.at(1)->created;
  ASSERT_NE(created, distantPast);
  for (const char* body : {"b", "c"}) {
    vault.save("Link.md", body, {});
    EXPECT_EQ(vault.scan().notes.at(1)->created, created);
  }
  EXPECT_EQ(folder.read("Real/Note.md"), "c");
  EXPECT_TRUE(fs::is_symlink(folder.at("Link.md")));
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_all | fs::perms::group_read);
  char value[8];
  EXPECT_EQ(::getxattr(file.c_str(), "user.mine", value, sizeof value), 4);
  const auto modified = fs::last_write_time(file);
  vault.save("Real/Note.md", "c", {});
  EXPECT_EQ(fs::last_write_time(file), modified) << "the same text is not written";
}

// Every writer fails with a sentence and leaves the old text and nothing else.
bool failsCleanly(const test::TemporaryFolder& folder, int code) {
  const Vault vault(folder.path());
  const std::string large(1 << 20, 'x');
  const std::string old(4096, 'o');
  folder.write("Note.md", old);
  const auto fails = [&](const std::function<void()>& write) {
    return failure(write) == code && folder.read("Note.md") == old && folder.everything().size() == 1;
  };
  return fails([&] { vault.save("Note.md", large, {"t"}, old); }) && fails([&] { vault.append(large, "Note.md"); }) &&
         fails([&] { vault.createNote("New", large, {}, ""); }) &&
         fails([&] { vault.restoreText(large, old, "Note.md"); });
}

TEST_F(VaultNotes, KeepTheOldTextWhenThereIsNoRoom) {
  EXPECT_TRUE(test::endedWell(test::inChild([&] {
    const rlimit limit = {64 << 10, 64 << 10};
    return std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && ::setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
           failsCleanly(folder, EFBIG);
  })));
}

}  // namespace
}  // namespace vesk
