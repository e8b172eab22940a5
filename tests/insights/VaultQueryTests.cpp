#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/insights/VaultQuery.h"
#include "tests/insights/InsightsTesting.h"

namespace vesk {
namespace {

using testing::HasSubstr;

TEST(VaultQuery, FindsTheNotesThatMeetEveryLine) {
  test::MadeVault vault;
  vault.add("Projects/Gärten/Note 10.md", "lemon #work", test::daysBefore(3), test::daysBefore(1));
  vault.add("Projects/Gärten/deep/note 2.md", "LEMON tree #work", test::daysBefore(1), test::daysBefore(2));
  vault.add("Projects/Gärten2/c.md", "lemon #work/x", test::daysBefore(2), distantPast);
  vault.add("d.md", "tree", test::daysBefore(0), test::daysBefore(3));
  const std::pair<const char*, const char*> cases[] = {{"", "d,note 2,c,Note 10"},
                                                       {"folder: projects/GA\u0308RTEN/", "note 2,Note 10"},
                                                       {"folder: Projects\nfolder: Projects/Gärten/deep", "note 2"},
                                                       {"folder: Gärten", ""},
                                                       {"\n  TAG :  # work \r\n", "note 2,Note 10"},
                                                       {"tag: Work", ""},
                                                       {"text: lemon\ntext: TREE", "note 2"},
                                                       {"text: work", "note 2,c,Note 10"},
                                                       {"text: a: b", ""},
                                                       {"sort: Title", "c,d,note 2,Note 10"},
                                                       {"sort: created\nlimit: 3", "Note 10,note 2,d"},
                                                       {"limit: 9999999999", "d,note 2,c,Note 10"}};
  for (const auto& [query, expected] : cases) {
    std::vector<std::string> names;
    for (const NoteRef& note : run(VaultQuery::parse(query), vault.snapshot)) names.emplace_back(note->fileName());
    EXPECT_EQ(text::join(names, ","), expected) << query;
  }
}

TEST(VaultQuery, SaysWhatItUnderstands) {
  const std::string lines = "Those are folder:, tag:, text:, sort: (modified, created or title) and limit:";
  const std::pair<std::string, std::string> cases[] = {{"tag: a\nwork", "\"work\" is no line of a query. " + lines},
                                                       {"title: x", lines},
                                                       {":", lines},
                                                       {"tag: a, limit 3\ntags: b", lines},
                                                       {"tag:  ", "Nothing stands behind \"tag:\"."},
                                                       {"folder: / /", "Nothing stands behind \"folder:\"."},
                                                       {"sort: date", "modified, created or title, not by \"date\""},
                                                       {"limit: 0", "a whole number of at least 1, not \"0\""},
                                                       {"limit: -1", "at least 1"},
                                                       {"limit: 3 notes", "at least 1"},
                                                       {"limit: 99999999999999999999", "at least 1"},
                                                       {std::string(200'000, 'x'), lines}};
  for (const auto& [query, sentence] : cases) {
    try {
      VaultQuery::parse(query);
      ADD_FAILURE() << query;
    } catch (const Error& error) {
      EXPECT_THAT(error.what(), HasSubstr(sentence));
      EXPECT_LT(std::string_view(error.what()).size(), 400u);
    }
  }
}

}  // namespace
}  // namespace vesk
