#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/vault/Vault.h"
#include "core/vault/VaultSearch.h"
#include "core/vault/VaultSnapshot.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using test::TemporaryFolder;
using testing::ElementsAre;

class VaultQueries : public testing::Test {
 protected:
  // Each note is a day newer than the one before.
  VaultSnapshot scan(const std::vector<std::pair<std::string, std::string>>& notes) const {
    for (std::size_t i = 0; i < notes.size(); ++i) {
      folder.write(notes[i].first, notes[i].second);
      folder.setModified(notes[i].first, 1'000'000'000 + 86'400 * static_cast<long>(i));
    }
    return Vault(folder.path()).scan();
  }
  static std::vector<std::string> names(const std::vector<NoteRef>& notes) {
    std::vector<std::string> found;
    for (const NoteRef& note : notes) found.emplace_back(note->fileName());
    return found;
  }

  const TemporaryFolder folder;
};

TEST_F(VaultQueries, SearchTitlesFirstThenTheNewest) {
  const auto snapshot = scan({{"a.md", "# Garden\n"},
                              {"b.md", "in the GARDEN"},
                              {"c.md", "#garden/roses"},
                              {"d.md", "---\ntags: [ΓΆΡΔΕΝ, big garden]\n---\n"},
                              {"e.md", "---\ntitle: My garden\n---\n"},
                              {"f.md", "---\nnote: garden\n---\nstraße"}});
  struct Case {
    const char* query;
    std::vector<std::string> found;
  };
  const Case cases[] = {{" garDen ", {"e", "a", "d", "c", "b"}},
                        {"γάρδεν", {"d"}},
                        {"STRASSE", {"f"}},
                        {"note", {}},
                        {"", {}},
                        {" \t\n", {}},
                        {"gardenx", {}},
                        {"f", {"f"}},
                        {"roses\n", {"c"}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.query);
    EXPECT_EQ(names(snapshot.search(c.query)), c.found);
    std::vector<std::string> hits;
    for (const SearchHit& hit : searchVault(Vault(folder.path()), c.query)) hits.push_back(hit.id.substr(0, 1));
    EXPECT_EQ(hits, c.found) << "without a snapshot";
  }
}

TEST_F(VaultQueries, CountTags) {
  const auto snapshot = scan({{"a.md", "#b #b #a2"}, {"b.md", "#b #a10 #B"}, {"c.md", "#a2/x #at/9"}});
  EXPECT_THAT(snapshot.tags(), ElementsAre(TagCount{"b", 2}, TagCount{"a2", 1}, TagCount{"a2/x", 1}, TagCount{"a10", 1},
                                           TagCount{"B", 1}));
  EXPECT_THAT(names(snapshot.notesTagged("a2")), ElementsAre("a"));
  EXPECT_THAT(names(snapshot.notesTagged("B")), ElementsAre("b"));
}

TEST_F(VaultQueries, FollowLinksBackwards) {
  const auto snapshot = scan({{"Projects/Café.md", "[[café]]"},
                              {"a.md", "[[Projects/CAFE\u0301|x]]"},
                              {"b.md", "[[Café#part]]"},
                              {"c.md", "[[Wrong/café]]"},
                              {"d.md", "[[Café/other]] [[My Café]] [[Café.md]]"}});
  EXPECT_THAT(names(snapshot.backlinks(*snapshot.notes.back())), ElementsAre("a", "b", "c"));
}

TEST_F(VaultQueries, ListWhatWaitsToBeFiled) {
  const auto snapshot = scan({{"Inbox/deep/a.md", ""},
                              {"top.md", ""},
                              {"Projects/p.md", ""},
                              {"Loose/l.md", ""},
                              {"Inbox/page.md", "---\nvesk: true\n---\n"},
                              {"Inbox/no.md", "---\nvesk: True\n---\n"}});
  EXPECT_THAT(names(snapshot.unsorted()), ElementsAre("no", "l", "top", "a"));
}

TEST_F(VaultQueries, KnowTheFolderOfARole) {
  auto snapshot = scan({{"03 Archive/a.md", ""}, {"inbox/a.md", ""}});
  EXPECT_EQ(snapshot.folder(Bucket::inbox), "inbox") << "as it is written on disk";
  EXPECT_EQ(snapshot.folder(Bucket::archive), "03 Archive");
  EXPECT_EQ(snapshot.folder(Bucket::projects), "Projects") << "still to be made";
  EXPECT_EQ(snapshot.folder(Bucket::sources), std::nullopt);
}

TEST_F(VaultQueries, RenameATagWhereverItIsWritten) {
  struct Case {
    std::string before;
    std::string after;
  };
  const Case cases[] = {
      {"#work, #work/x #Work #workshop #at/work a#work", "#job, #job/x #Work #workshop #at/work a#work"},
      {"---\r\ntags:\r\n- work\r\n- keep\r\n---\r\n#work\r\n", "---\r\ntags:\r\n- job\r\n- keep\r\n---\r\n#job\r\n"},
      {"---\ntags: [job, work, work/job]\n---\n#job #work", "---\ntags: [job, job/job]\n---\n#job #job"},
      {"`#work` #work\n```\n#work\n```\n#work`#work`#work", "`#work` #job\n```\n#work\n```\n#job`#work`#work"},
      {"#work\n```\n#work never closed", "#job\n```\n#work never closed"},
      {"\uFEFF#work", "\uFEFF#job"},
      {"#wo`code`rk and #work", "#wo`code`rk and #job"},
      {"[[work]] work #nested/work", "[[work]] work #nested/work"},
      {"---\ntags: [#work]\nabout: work #work\n---\n", "---\ntags: [job]\nabout: work #work\n---\n"},
  };
  std::vector<std::pair<std::string, std::string>> notes;
  std::size_t changed = 0;
  for (const Case& c : cases) {
    notes.emplace_back(std::to_string(notes.size()) + ".md", c.before);
    changed += c.before != c.after;
  }
  const VaultSnapshot snapshot = scan(notes);
  const Vault vault(folder.path());
  for (const char* name : {"", " ", "#", "2x", "a b", "a#b", "##x", "a`b"})
    EXPECT_EQ(test::refusal([&] { vault.renameTag("work", name, snapshot); }), VaultError::Kind::invalidName) << name;
  EXPECT_EQ(vault.renameTag("#work", " #job", snapshot), changed);
  for (std::size_t i = 0; i < notes.size(); ++i) EXPECT_EQ(folder.read(notes[i].first), cases[i].after);
  const VaultSnapshot later = vault.scan();
  EXPECT_EQ(vault.renameTag("work", "job", later), 0u);
  std::filesystem::remove(folder.at("0.md"));
  EXPECT_EQ(vault.renameTag("job", "área/2", later), changed - 1) << "one has gone meanwhile";
}

}  // namespace
}  // namespace vesk
