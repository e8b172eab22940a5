#include "core/vault/VaultSearch.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using testing::ElementsAre;

class VaultQueries : public test::VaultTest {
 protected:
  // Each note is a day newer than the one before.
  VaultSnapshot scan(const std::vector<std::pair<std::string, std::string>>& notes) const {
    long modified = 1'000'000'000;
    for (const auto& [id, text] : notes) {
      folder.write(id, text);
      folder.setModified(id, modified += 86'400);
    }
    return vault.scan();
  }
  static std::vector<std::string> names(const std::vector<NoteRef>& notes) {
    std::vector<std::string> found;
    for (const NoteRef& note : notes) found.emplace_back(note->fileName());
    return found;
  }
};

TEST_F(VaultQueries, SearchTitlesFirstThenTheNewest) {
  const auto snapshot = scan({{"a.md", "# Garden\n"},
                              {"b.md", "in the GARDEN"},
                              {"c.md", "#garden/roses"},
                              {"d.md", "---\ntags: [ΓΆΡΔΕΝ, big garden]\n---\n"},
                              {"e.md", "---\ntitle: My garden\n---\n"},
                              {"f.md", "---\nnote: garden\n---\nstraße"}});
  using Names = std::vector<std::string>;
  const std::pair<const char*, Names> cases[] = {{" garDen ", {"e", "a", "d", "c", "b"}},
                                                 {"γάρδεν", {"d"}},
                                                 {"STRASSE", {"f"}},
                                                 {"note", {}},
                                                 {"", {}},
                                                 {" \t\n", {}},
                                                 {"gardenx", {}},
                                                 {"f", {"f"}},
                                                 {"roses\n", {"c"}}};
  for (const auto& [query, found] : cases) {
    EXPECT_EQ(names(snapshot.search(query)), found) << query;
    Names hits;
    for (const SearchHit& hit : searchVault(vault, query)) hits.push_back(hit.id.substr(0, 1));
    EXPECT_EQ(hits, found) << query << ", without a snapshot";
  }
}

TEST_F(VaultQueries, CountTagsAndFollowLinksBackwards) {
  const auto snapshot = scan({{"a.md", "[[Projects/CAFE\u0301|x]] #b #b #a2"},
                              {"b.md", "[[Café#part]] #b #a10 #B"},
                              {"c.md", "[[Wrong/café]] #a2/x #at/9"},
                              {"d.md", "[[Café/other]] [[My Café]] [[Café.md]]"},
                              {"Projects/Café.md", "[[café]]"}});
  EXPECT_THAT(snapshot.tags(), ElementsAre(TagCount{"b", 2}, TagCount{"a2", 1}, TagCount{"a2/x", 1}, TagCount{"a10", 1},
                                           TagCount{"B", 1}));
  EXPECT_THAT(names(snapshot.notesTagged("B")), ElementsAre("b"));
  EXPECT_THAT(names(snapshot.backlinks(*snapshot.notes.back())), ElementsAre("a", "b", "c"));
}

TEST_F(VaultQueries, KnowTheFoldersOfRolesAndWhatWaitsToBeFiled) {
  const auto snapshot = scan({{"inbox/deep/a.md", ""},
                              {"top.md", ""},
                              {"03 Archive/p.md", ""},
                              {"Loose/l.md", ""},
                              {"inbox/page.md", "---\nvesk: true\n---\n"},
                              {"inbox/no.md", "---\nvesk: True\n---\n"}});
  EXPECT_THAT(names(snapshot.unsorted()), ElementsAre("no", "l", "top", "a"));
  EXPECT_EQ(snapshot.folder(Bucket::inbox), "inbox") << "as it is written on disk";
  EXPECT_EQ(snapshot.folder(Bucket::archive), "03 Archive");
  EXPECT_EQ(snapshot.folder(Bucket::projects), "Projects") << "still to be made";
  EXPECT_EQ(snapshot.folder(Bucket::sources), std::nullopt);
}

TEST_F(VaultQueries, RenameATagWhereverItIsWritten) {
  const std::pair<std::string, std::string> cases[] = {
      {"#work, #work/x #Work #workshop #at/work a#work", "#job, #job/x #Work #workshop #at/work a#work"},
      {"---\r\ntags:\r\n- work\r\n- keep\r\n---\r\n#work\r\n", "---\r\ntags:\r\n- job\r\n- keep\r\n---\r\n#job\r\n"},
      {"---\ntags: [job, work, work/job]\n---\n#job #work", "---\ntags: [job, job/job]\n---\n#job #job"},
      {"`#work` #work\n```\n#work\n```\n#work`#work`#work", "`#work` #job\n```\n#work\n```\n#job`#work`#work"},
      {"#work\n```\n#work never closed", "#job\n```\n#work never closed"},
      {"\uFEFF#work", "\uFEFF#job"},
      {"#wo`code`rk and #work", "#wo`code`rk and #job"},
      {"---\ntags: [#work]\nabout: work #work\n---\n", "---\ntags: [job]\nabout: work #work\n---\n"},
      {"[[work]] work #nested/work", "[[work]] work #nested/work"}};
  const std::size_t changed = std::size(cases) - 1;  // all but the last
  std::vector<std::pair<std::string, std::string>> notes;
  for (const auto& [before, after] : cases) notes.emplace_back(std::to_string(notes.size()) + ".md", before);
  const VaultSnapshot snapshot = scan(notes);
  for (const char* name : {"", " ", "#", "2x", "a b", "a#b", "##x", "a`b"})
    EXPECT_EQ(test::refusal([&] { vault.renameTag("work", name, snapshot); }), VaultError::Kind::invalidName) << name;
  EXPECT_EQ(vault.renameTag("#work", " #job", snapshot), changed);
  for (std::size_t i = 0; i < notes.size(); ++i) EXPECT_EQ(folder.read(notes[i].first), cases[i].second);
  const VaultSnapshot later = vault.scan();
  EXPECT_EQ(vault.renameTag("work", "job", later), 0u);
  std::filesystem::remove(folder.at("0.md"));
  EXPECT_EQ(vault.renameTag("job", "área/2", later), changed - 1) << "one has gone meanwhile";
}

}  // namespace
}  // namespace vesk
