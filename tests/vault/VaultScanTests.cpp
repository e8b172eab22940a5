#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "core/vault/Vault.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> idsOf(const std::vector<NoteRef>& notes) {
  std::vector<std::string> ids;
  for (const NoteRef& note : notes) ids.push_back(note->id);
  return ids;
}

TEST(VaultScan, ListsNotesAndFoldersAsAFileBrowserDoes) {
  const TemporaryFolder folder;
  for (const char* path : {"Note 10.md", "note 2.md", "Note 1.md", "Plan.MD", "Plan.markdown", "AGENTS.md", "agents.md",
                           "Folder/AGENTS.md", "Folder/B.md", "Folder/a.md", "Folder/Sub/C.md", ".hidden.md",
                           ".obsidian/x.md", "Folder/.trash/x.md", "Image.png", ".md", "md"})
    folder.write(path, path);
  const VaultSnapshot snapshot = Vault(folder.path()).scan();

  EXPECT_THAT(idsOf(snapshot.notes), ElementsAre("agents.md", "Folder/a.md", "Folder/B.md", "Folder/Sub/C.md",
                                                 "Note 1.md", "note 2.md", "Note 10.md", "Plan.MD"));
  EXPECT_THAT(idsOf(snapshot.root.notes), ElementsAre("agents.md", "Note 1.md", "note 2.md", "Note 10.md", "Plan.MD"));
  EXPECT_THAT(idsOf(snapshot.root.allNotes()), ElementsAre("agents.md", "Note 1.md", "note 2.md", "Note 10.md",
                                                           "Plan.MD", "Folder/a.md", "Folder/B.md", "Folder/Sub/C.md"));
  EXPECT_EQ(snapshot.root.noteCount(), 8u);
  ASSERT_EQ(snapshot.root.folders.size(), 1u);
  EXPECT_EQ(snapshot.root.folders[0].folders.at(0).id, "Folder/Sub");
  EXPECT_EQ(snapshot.root.folders[0].folders.at(0).name, "Sub");
  EXPECT_EQ(snapshot.notes[7]->url, folder.at("Plan.MD"));

  std::vector<std::string> summaries;
  for (const auto& each : Vault(folder.path()).folders()) summaries.push_back(each.path + std::to_string(each.notes));
  EXPECT_THAT(summaries, ElementsAre("Folder2", "Folder/Sub1"));
}

TEST(VaultScan, GivesEveryNoteTheRoleOfItsTopFolder) {
  const TemporaryFolder folder;
  for (const char* path : {"01 - projects/a/b/Deep.md", "Sources/S.md", "Top.md", "Other/Projects/Not.md"})
    folder.write(path, "");
  const Vault vault(folder.path());
  const auto roles = [&] {
    std::map<std::string, Bucket> found;
    for (const NoteRef& note : vault.scan().notes) found[note->id] = note->bucket;
    return found;
  };
  using Roles = std::map<std::string, Bucket>;
  EXPECT_EQ(roles(), (Roles{{"01 - projects/a/b/Deep.md", Bucket::projects},
                            {"Sources/S.md", Bucket::other},
                            {"Top.md", Bucket::other},
                            {"Other/Projects/Not.md", Bucket::other}}));
  vault.save(Organization{Organization::Method::custom, {{Bucket::sources, "sources"}}});
  EXPECT_EQ(roles(), (Roles{{"01 - projects/a/b/Deep.md", Bucket::other},
                            {"Sources/S.md", Bucket::sources},
                            {"Top.md", Bucket::other},
                            {"Other/Projects/Not.md", Bucket::other}}));
}

TEST(VaultScan, NeverLeavesTheVaultNorWaits) {
  const TemporaryFolder folder;
  folder.write("Real/Note.md", "[[inside]]");
  std::ofstream(folder.supportDirectory() + "/Secret.md") << "secret";
  fs::create_symlink("Real/Note.md", folder.at("Linked.md"));
  fs::create_symlink(folder.at("Real/Note.md"), folder.at("Absolute.md"));
  fs::create_symlink(folder.supportDirectory() + "/Secret.md", folder.at("Out.md"));
  fs::create_symlink("../support/Secret.md", folder.at("Up.md"));
  fs::create_symlink("Loop.md", folder.at("Loop.md"));
  fs::create_symlink("nowhere", folder.at("Dangling.md"));
  fs::create_symlink("/dev/zero", folder.at("Endless.md"));
  fs::create_symlink("Pipe.md", folder.at("ToPipe.md"));
  fs::create_directory_symlink(".", folder.at("Circle"));
  fs::create_directory_symlink("/", folder.at("Everything"));
  fs::create_directory_symlink("Real", folder.at("Folder.md"));
  fs::create_directory(folder.at("Named.md"));
  ASSERT_EQ(mkfifo(folder.at("Pipe.md").c_str(), 0600), 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  folder.at("Socket.md").copy(address.sun_path, sizeof address.sun_path - 1);
  const Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

  const VaultSnapshot snapshot = Vault(folder.path()).scan();
  EXPECT_THAT(idsOf(snapshot.notes), ElementsAre("Linked.md", "Real/Note.md"));
  EXPECT_THAT(snapshot.notes.at(0)->links, ElementsAre("inside"));
  ASSERT_EQ(snapshot.root.folders.size(), 2u);
  EXPECT_EQ(snapshot.root.folders[0].id, "Named.md");
}

TEST(VaultScan, PassesOverWhatIsNoText) {
  const TemporaryFolder folder;
  const std::string longest = std::string(252, 'n') + ".md";
  const std::vector<std::pair<std::string, std::string>> notes = {
      {"Fine.md", "text"},    {"Nul.md", std::string("a\0b", 3)},
      {"Bad.md", "\xC3("},    {"Surrogate.md", "\xED\xA0\x80"},
      {"Cut.md", "text\xE2"}, {"Two\nlines.md", "name"},
      {"\xFF.md", "name"},    {"Be\u0301.md", "NFD"},
      {"B\u00E9.md", "NFC"},  {longest, "long"},
      {"\u202Ertl.md", ""},   {"Empty.md", ""}};
  for (const auto& [name, text] : notes) folder.write(name, text);
  std::map<std::string, std::string> bodies;
  for (const NoteRef& note : Vault(folder.path()).scan().notes) bodies[note->id] = note->body;
  for (const auto& [name, text] : notes) {
    SCOPED_TRACE(testing::PrintToString(name));
    const bool isText = name != "Bad.md" && name != "Surrogate.md" && name != "Cut.md" && name != "\xFF.md";
    ASSERT_EQ(bodies.contains(name), isText);
    if (isText) {
      EXPECT_EQ(bodies[name], text);
    }
  }
}

TEST(VaultScan, GoesDeepAndLeavesOutWhatIsTooLarge) {
  const TemporaryFolder folder;
  std::string deep;
  for (int i = 0; i < 1000; ++i) deep += "d/";
  folder.write(deep + "Note.md", "deep");
  for (const auto& [name, size] : {std::pair{"Large.md", 20ull << 20}, std::pair{"Huge.md", 1ull << 30}}) {
    folder.write(name, "");
    fs::resize_file(folder.at(name), size);  // holes
  }
  const VaultSnapshot snapshot = Vault(folder.path()).scan();
  EXPECT_THAT(idsOf(snapshot.notes), ElementsAre(deep + "Note.md", "Large.md"));
  EXPECT_EQ(snapshot.root.noteCount(), 2u);
  EXPECT_EQ(Vault(folder.path()).folders().size(), 1000u);
}

TEST(VaultScan, SaysWhichFolderCannotBeListed) {
  const TemporaryFolder folder;
  folder.write("File", "");
  folder.write("Closed/Note.md", "");
  EXPECT_EQ(test::failure([&] { Vault(folder.at("Missing")).scan(); }), ENOENT);
  EXPECT_EQ(test::failure([&] { Vault(folder.at("File")).scan(); }), ENOTDIR);

  fs::permissions(folder.at("Closed"), fs::perms::none);
  fs::permissions(fs::path(folder.path()).parent_path(), fs::perms::all);
  const pid_t child = test::inChild([&] {
    constexpr uid_t nobody = 65534;
    if (::geteuid() == 0 && ::setuid(nobody) != 0) return false;  // nothing is closed to root
    try {
      Vault(folder.path()).scan();
    } catch (const FileError& error) {
      return std::string(error.what()) == "Can't open Closed: Permission denied.";
    }
    return false;
  });
  EXPECT_TRUE(test::endedWell(child));
  fs::permissions(folder.at("Closed"), fs::perms::all);
}

TEST(ParsedNotes, ReadsOnlyWhatHasChanged) {
  const TemporaryFolder folder;
  for (const char* name : {"Same.md", "Changed.md", "Touched.md", "Gone.md", "Projects/Role.md"})
    folder.write(name, "1");
  fs::create_symlink("Same.md", folder.at("Link.md"));
  const Vault vault(folder.path());
  const Vault copy = vault;
  const auto scan = [](const Vault& scanned) {
    std::map<std::string, NoteRef> notes;
    for (const NoteRef& note : scanned.scan().notes) notes[note->id] = note;
    return notes;
  };
  auto first = scan(vault);
  EXPECT_EQ(first.size(), 6u);
  const std::weak_ptr<const Note> gone = first["Gone.md"];

  folder.write("Changed.md", "22");
  folder.setModified("Touched.md", 1'000'000'000);
  fs::remove(folder.at("Gone.md"));
  auto second = scan(copy);
  EXPECT_EQ(second["Same.md"], first["Same.md"]);
  EXPECT_EQ(second["Projects/Role.md"], first["Projects/Role.md"]);
  EXPECT_EQ(second["Changed.md"]->body, "22");
  EXPECT_NE(second["Touched.md"], first["Touched.md"]);
  EXPECT_EQ(second["Touched.md"]->modified, Timestamp(std::chrono::seconds(1'000'000'000)));
  EXPECT_EQ(second["Link.md"]->body, "1");
  EXPECT_FALSE(second.contains("Gone.md"));
  first.clear();
  EXPECT_TRUE(gone.expired()) << "the cache has forgotten it";

  vault.save(Organization{Organization::Method::custom, {{Bucket::areas, "Projects"}}});
  const auto third = scan(vault);
  EXPECT_EQ(third.at("Projects/Role.md")->bucket, Bucket::areas);
  EXPECT_EQ(third.at("Same.md"), second["Same.md"]);
}

TEST(ParsedNotes, SeesARewriteOfTheSameSize) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  folder.write("Note.md", "0");
  for (char version = '0'; version < 'Z'; ++version) {
    folder.write("Note.md", std::string(1, version));
    // What a file system's clock tells apart; the next change may come a nanosecond later.
    const timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, version}};
    ASSERT_EQ(utimensat(AT_FDCWD, folder.at("Note.md").c_str(), times, 0), 0);
    EXPECT_EQ(vault.scan().notes.at(0)->body, std::string(1, version));
  }
}

TEST(ParsedNotes, ServesManyThreadsWhileNotesChangeAndVanish) {
  const TemporaryFolder folder;
  constexpr int notes = 100;
  for (int i = 0; i < notes; ++i) folder.write("Folder/" + std::to_string(i) + ".md", "0 0");
  const Vault vault(folder.path());
  std::atomic<bool> isOver = false;
  std::atomic<int> torn = 0;
  std::atomic<int> failed = 0;
  std::atomic<int> scans = 0;
  {
    std::vector<std::jthread> readers;
    for (int i = 0; i < 8; ++i)
      readers.emplace_back([&, copy = vault] {
        while (!isOver) try {
            const VaultSnapshot snapshot = copy.scan();
            int found = 0;
            for (const NoteRef& note : snapshot.notes) {
              found += note->id.starts_with("Folder/");
              const std::size_t half = note->body.find(' ');
              torn += note->body.substr(0, half) != note->body.substr(half + 1);
            }
            torn += found != notes;
            ++scans;
          } catch (...) {
            ++failed;
          }
      });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(700);
    for (int version = 1; std::chrono::steady_clock::now() < end; ++version) {
      const std::string text = fmt::format("{0} {0}", version);
      vault.save(fmt::format("Folder/{}.md", version % notes), text, {});
      folder.write("Passing/Deeper/Note.md", "1 1");
      fs::remove_all(folder.at("Passing"));
    }
    isOver = true;
  }
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(failed, 0);
  EXPECT_GT(scans, 8);
}

}  // namespace
}  // namespace vesk
