#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <thread>

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using VaultScan = test::VaultTest;
using ParsedNotes = test::VaultTest;
using testing::ElementsAre;

std::vector<std::string> idsOf(const std::vector<NoteRef>& notes) {
  std::vector<std::string> ids;
  for (const NoteRef& note : notes) ids.push_back(note->id);
  return ids;
}

TEST_F(VaultScan, ListsNotesAndFoldersAsAFileBrowserDoes) {
  for (const char* path : {"Note 10.md", "note 2.md", "Note 1.md", "Plan.MD", "Plan.markdown", "AGENTS.md", "agents.md",
                           "Folder/AGENTS.md", "Folder/B.md", "Folder/a.md", "Folder/Sub/C.md", ".hidden.md",
                           ".obsidian/x.md", "Folder/.trash/x.md", "Image.png", ".md", "md"})
    folder.write(path, path);
  const VaultSnapshot snapshot = vault.scan();
  EXPECT_THAT(idsOf(snapshot.notes), ElementsAre("agents.md", "Folder/a.md", "Folder/B.md", "Folder/Sub/C.md",
                                                 "Note 1.md", "note 2.md", "Note 10.md", "Plan.MD"));
  EXPECT_THAT(idsOf(snapshot.root.notes), ElementsAre("agents.md", "Note 1.md", "note 2.md", "Note 10.md", "Plan.MD"));
  EXPECT_EQ(snapshot.root.allNotes().back()->id, "Folder/Sub/C.md");
  EXPECT_EQ(snapshot.root.noteCount(), 8u);
  EXPECT_EQ(snapshot.root.folders.at(0).folders.at(0).id, "Folder/Sub");
  std::vector<std::string> summaries;
  for (const auto& each : vault.folders()) summaries.push_back(each.path + std::to_string(each.notes));
  EXPECT_THAT(summaries, ElementsAre("Folder2", "Folder/Sub1"));
}

TEST_F(VaultScan, NeverLeavesTheVaultNorWaits) {
  folder.write("Real/Note.md", "[[inside]]");
  const std::string secret = folder.supportDirectory() + "/Secret.md";
  std::ofstream(secret) << "secret";
  using Link = std::pair<const char*, std::string>;
  const Link links[] = {{"Linked.md", "Real/Note.md"},
                        {"Absolute.md", folder.at("Real/Note.md")},
                        {"Out.md", secret},
                        {"Up.md", "../support/Secret.md"},
                        {"Loop.md", "Loop.md"},
                        {"Dangling.md", "nowhere"},
                        {"Endless.md", "/dev/zero"},
                        {"ToPipe.md", "Pipe.md"},
                        {"Circle", "."},
                        {"Everything", "/"},
                        {"Folder.md", "Real"}};
  for (const auto& [link, target] : links) fs::create_symlink(target, folder.at(link));
  fs::create_directory(folder.at("Named.md"));
  ASSERT_EQ(mkfifo(folder.at("Pipe.md").c_str(), 0600), 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  folder.at("Socket.md").copy(address.sun_path, sizeof address.sun_path - 1);
  const Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

  const VaultSnapshot snapshot = vault.scan();
  EXPECT_THAT(idsOf(snapshot.notes), ElementsAre("Linked.md", "Real/Note.md"));
  EXPECT_THAT(snapshot.notes.at(0)->links.copied(), ElementsAre("inside"));
  EXPECT_EQ(snapshot.root.folders.size(), 2u);
}

TEST_F(VaultScan, PassesOverWhatIsNoText) {
  const std::map<std::string, std::string> listed = {
      {"Fine.md", "text"},   {"Nul.md", std::string("a\0b", 3)},      {"Two\nlines.md", "name"}, {"Be\u0301.md", "NFD"},
      {"B\u00E9.md", "NFC"}, {std::string(252, 'n') + ".md", "long"}, {"Empty.md", ""}};
  for (const auto& [name, text] : listed) folder.write(name, text);
  folder.write("Bad.md", "\xC3(");
  folder.write("Surrogate.md", "\xED\xA0\x80");
  folder.write("Cut.md", "text\xE2");
  folder.write("\xFF.md", "name");
  std::map<std::string, std::string> bodies;
  for (const NoteRef& note : vault.scan().notes) bodies[note->id] = note->body;
  EXPECT_EQ(bodies, listed);
}

TEST_F(VaultScan, GoesDeepAndLeavesOutWhatIsTooLarge) {
  std::string deep;
  for (int i = 0; i < 1000; ++i) deep += "d/";
  folder.write(deep + "Note.md", "deep");
  for (const auto& [name, size] : {std::pair{"Large.md", 20ull << 20}, std::pair{"Huge.md", 1ull << 30}}) {
    folder.write(name, "");
    fs::resize_file(folder.at(name), size);  // holes
  }
  EXPECT_THAT(idsOf(vault.scan().notes), ElementsAre(deep + "Note.md", "Large.md"));
  EXPECT_EQ(vault.folders().size(), 1000u);
}

TEST_F(VaultScan, FailsForAFolderThatCannotBeListed) {
  folder.write("Closed/Note.md", "");
  EXPECT_EQ(test::failure([&] { Vault(folder.at("Missing")).scan(); }), ENOENT);
  fs::permissions(folder.at("Closed"), fs::perms::none);
  fs::permissions(fs::path(folder.path()).parent_path(), fs::perms::all);
  EXPECT_TRUE(test::endedWell(test::inChild([&] {
    constexpr uid_t nobody = 65534;  // as nothing is closed to root
    return (::geteuid() != 0 || ::setuid(nobody) == 0) && test::failure([&] { vault.scan(); }) == EACCES;
  })));
  fs::permissions(folder.at("Closed"), fs::perms::all);
}

TEST_F(ParsedNotes, ReadsOnlyWhatHasChanged) {
  for (const char* name : {"Projects/Same.md", "Changed.md", "Touched.md", "Gone.md"}) folder.write(name, "1");
  fs::create_symlink("Projects/Same.md", folder.at("Link.md"));
  const auto scan = [](const Vault& scanned) {
    std::map<std::string, NoteRef> notes;
    for (const NoteRef& note : scanned.scan().notes) notes[note->id] = note;
    return notes;
  };
  auto first = scan(vault);
  const std::weak_ptr<const Note> gone = first["Gone.md"];
  folder.write("Changed.md", "22");
  folder.setModified("Touched.md", 1'000'000'000);
  fs::remove(folder.at("Gone.md"));
  auto second = scan(Vault(vault));
  EXPECT_EQ(second["Projects/Same.md"], first["Projects/Same.md"]);
  EXPECT_EQ(second["Changed.md"]->body, "22");
  EXPECT_EQ(second["Touched.md"]->modified, Timestamp(std::chrono::seconds(1'000'000'000)));
  EXPECT_EQ(second["Link.md"]->body, "1");
  EXPECT_FALSE(second.contains("Gone.md"));
  first.clear();
  EXPECT_TRUE(gone.expired()) << "the cache has forgotten it";
  vault.save(Organization{Organization::Method::custom, {{Bucket::areas, "projects"}}});
  EXPECT_EQ(scan(vault)["Projects/Same.md"]->bucket, Bucket::areas);
}

TEST_F(ParsedNotes, SeesARewriteOfTheSameSize) {
  for (char version = '0'; version < 'Z'; ++version) {
    folder.write("Note.md", std::string(1, version));
    // What a file system's clock tells apart; the next change may come a nanosecond later.
    const timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, version}};
    ASSERT_EQ(utimensat(AT_FDCWD, folder.at("Note.md").c_str(), times, 0), 0);
    EXPECT_EQ(vault.scan().notes.at(0)->body, std::string(1, version));
  }
}

TEST_F(ParsedNotes, ServesManyThreadsWhileNotesChangeAndVanish) {
  constexpr int notes = 100;
  for (int i = 0; i < notes; ++i) folder.write(fmt::format("Folder/{}.md", i), "0 0");
  std::atomic<bool> isOver = false;
  std::atomic<int> scans = 0;
  const auto scanAgain = [&](const Vault& copy) {
    int whole = 0;
    for (const NoteRef& note : copy.scan().notes) {
      const std::size_t half = note->body.find(' ');
      whole += note->id.starts_with("Folder/") && note->body.substr(0, half) == note->body.substr(half + 1);
    }
    EXPECT_EQ(whole, notes);
    ++scans;
  };
  std::vector<std::jthread> readers;
  for (int i = 0; i < 8; ++i)
    readers.emplace_back([&, copy = vault] {
      while (!isOver) EXPECT_NO_THROW(scanAgain(copy));
    });
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(700);
  for (int version = 1; std::chrono::steady_clock::now() < end; ++version) {
    vault.save(fmt::format("Folder/{}.md", version % notes), fmt::format("{0} {0}", version), {});
    folder.write("Passing/Deeper/Note.md", "1 1");
    fs::remove_all(folder.at("Passing"));
  }
  isOver = true;
  readers.clear();
  EXPECT_GT(scans, 8);
}

}  // namespace
}  // namespace vesk
