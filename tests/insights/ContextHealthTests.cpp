#include <map>
#include <set>

#include "core/base/Text.h"
#include "core/insights/ContextHealth.h"
#include "core/insights/SameText.h"
#include "tests/insights/InsightsTesting.h"

namespace vesk {
namespace {

using Kind = ContextIssue::Kind;
using test::MadeVault;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> found(const MadeVault& vault, Kind kind, Timestamp now = test::noon) {
  std::vector<std::string> lines;
  for (const ContextIssue& issue : ContextHealth::check(vault.snapshot, now))
    if (issue.kind == kind) lines.push_back(issue.path + ": " + issue.detail);
  return lines;
}

TEST(ContextHealth, TellsLinksThatLeadNowhereAndWhatMayBeMeant) {
  const MadeVault vault = {
      {"Archive/Old.md", "[[Nowhere]]"},
      {"Areas/Home/Orçamento.md", "---\ntitle: The Budget\n---\n[[the budget]]"},
      {"Projects/Garden/Plan.md", "[[OLD#Part|x]] [[Projects/Garden/plan]] [[garden/plan]] [[a.png]]"},
      {"Projects/Garden/b.md", "[[Wrong/Plan]] [[Orcamento]] [[Orcamento]] [[the-budgte]] [[Or]]"},
      {"Resources/c.md", "`[[ -f x ]]` #meeting [[Far Away]]\n```\n[[ code ]]\n```"},
      {"Resources/d.md", "[[Nowhere]] #meeting-transcript"},
      {"Sources/e.md", "[[Nowhere]]"}};
  EXPECT_THAT(found(vault, Kind::brokenLink),
              ElementsAre("Projects/Garden/b.md: [[Or]] leads to no note.",
                          "Projects/Garden/b.md: [[Orcamento]] leads to no note. The nearest name is \"Orçamento\".",
                          "Projects/Garden/b.md: [[Wrong/Plan]] leads to no note. The nearest name is \"Plan\".",
                          "Projects/Garden/b.md: [[the-budgte]] leads to no note. The nearest name is \"The Budget\".",
                          "Resources/c.md: [[Far Away]] leads to no note."));
}

TEST(ContextHealth, TellsNotesThatSayTheSame) {
  const std::string words = "Water the lemon tree every third day in summer";
  MadeVault vault = {{"Areas/a.md", "# Same  Title\n" + words},
                     {"Areas/b.md", "x y z"},
                     {"Areas/c.md", "x y z"},
                     {"Areas/d.md", "---\ntitle: SAME title\n---\n"},
                     {"Areas/e.md", "---\ntitle: e\n---\n# same\ttitle\n\n\n  " + words + "\n"},
                     {"Archive/f.md", "# Same title"}};
  EXPECT_THAT(found(vault, Kind::duplicate),
              ElementsAre("Areas/a.md: Same title as Areas/d.md; same text as Areas/e.md.",
                          "Areas/d.md: Same title as Areas/a.md.", "Areas/e.md: Same text as Areas/a.md."));
  MadeVault many;
  for (char c = 'a'; c <= 'f'; ++c) many.add(std::string("Areas/") + c + ".md", "# T\n" + words);
  EXPECT_EQ(found(many, Kind::duplicate).at(1),
            "Areas/b.md: Same title and text as Areas/a.md, Areas/c.md, Areas/d.md and 2 more.");
}

TEST(ContextHealth, TellsProjectsWithoutContext) {
  MadeVault vault = {{"Projects/Kept/Context.md", "---\nvesk: true\n---\n"},
                     {"Projects/Lower/context.md", "---\nvesk: true\n---\n"},
                     {"Projects/Own/Context.md", "Goal"},
                     {"Projects/Own/deep/x.md", "x"},
                     {"Projects/loose.md", "x"}};
  vault.folderAt("Projects/Empty");
  EXPECT_THAT(
      found(vault, Kind::missingContext),
      ElementsAre("Projects/Lower: 1 note and no Context.md.",
                  "Projects/Own: 2 notes, and Projects/Own/Context.md lacks the line \"vesk: true\" in its front "
                  "matter."));
}

TEST(ContextHealth, TellsStaleEmptyAndIsolatedNotes) {
  MadeVault vault;
  const auto justDue = test::daysBefore(180) - std::chrono::nanoseconds(1);
  vault.add("Areas/area.md", " \n\t\u00A0", test::daysBefore(400));
  vault.add("Resources/tagged.md", "#x", test::daysBefore(180));
  vault.add("Resources/due.md", "[[self]]", justDue);
  vault.add("Resources/linked.md", "x", test::daysBefore(200));
  vault.add("Resources/self.md", "[[SELF]] [[deep/Linked]]", test::daysBefore(-400));
  vault.add("Resources/alone.md", "x", distantPast);
  EXPECT_THAT(found(vault, Kind::stale), ElementsAre("Resources/alone.md: When it was changed last is not known.",
                                                     "Resources/linked.md: Not changed for 200 days.",
                                                     "Resources/due.md: Not changed for 180 days."));
  EXPECT_THAT(found(vault, Kind::empty), ElementsAre("Areas/area.md: It has no text."));
  EXPECT_THAT(found(vault, Kind::isolated),
              ElementsAre("Resources/alone.md: No links, no tags, and no note links to it."));
  const MadeVault namesakes = {{"Areas/a/PLAN.md", "x"}, {"Areas/a/z.md", "[[Plan]]"}, {"Resources/Plan.md", "x"}};
  EXPECT_THAT(found(namesakes, Kind::isolated), IsEmpty());
  EXPECT_THAT(found(vault, Kind::stale, distantPast), IsEmpty()) << "a clock that was set back";
  EXPECT_EQ(found(vault, Kind::stale, Timestamp::max()).size(), 5u);
  EXPECT_THAT(ContextHealth::check({}, test::noon), IsEmpty());
}

// A survey holds less of the notes than a snapshot: just what the findings need.
TEST(ContextHealth, FindsInAFolderWhatItFindsInASnapshot) {
  const test::TemporaryFolder folder;
  const Vault vault(folder.path());
  const std::string words = " and so on, for as long as it takes to fill the line";
  const std::vector<std::pair<std::string, std::string>> notes = {
      {"Areas/a.md", "#one #meeting-transcript [[Nowhere]]"},
      {"Areas/b.md", "---\ntags: [one, two, ai-conversation]\n---\n"},
      {"Areas/c.md", "#one #two [[Nowhere]]"},
      {"Areas/d.md", "\n"},
      {"Areas/e.md", "Caf\u00E9" + words + "."},
      {"Areas/f.md", "cafe\u0301" + words + "!"},
      {"Areas/g.md", "CAF\u00C9\n" + words + "."},
      {"Archive/h.md", "[[i]]"},
      {"Projects/P/x.md", "x"},
      {"Resources/i.md", "i"},
      {"Resources/j.md", "j"},
      {"Resources/k.md", "#one"}};
  for (const auto& [id, text] : notes) folder.write(id, text);
  std::set<Kind> kinds;
  const Timestamp later = std::chrono::system_clock::now() + std::chrono::days(200);
  const auto issues = ContextHealth::check(vault, later);
  for (const ContextIssue& issue : issues) kinds.insert(issue.kind);
  EXPECT_EQ(kinds.size(), 6u);
  EXPECT_EQ(issues, ContextHealth::check(vault.scan(), later));
}

// The rules, each note against every other.
std::multiset<std::string> plainFindings(const VaultSnapshot& snapshot) {
  std::multiset<std::string> all;
  const auto sameTitle = [](const Note& a, const Note& b) { return comparable(a.title) == comparable(b.title); };
  const auto sameText = [](const Note& a, const Note& b) {
    const std::string text = comparable(a.body);
    return text == comparable(b.body) && text::characterCount(text) > 39;
  };
  for (const NoteRef& note : snapshot.notes) {
    if (note->bucket == Bucket::archive) continue;
    for (const std::string& link : std::set<std::string>(note->links.begin(), note->links.end())) {
      const std::string target = text::key(link);
      const bool leads = std::ranges::any_of(snapshot.notes, [&](const NoteRef& other) {
        const std::string path = "/" + text::key(other->id.substr(0, other->id.size() - 3));
        return path.ends_with("/" + target) || text::key(other->title) == target;
      });
      if (!leads) all.insert("broken_link " + note->id);
    }
    const auto repeats = [&](const NoteRef& other) {
      return other != note && other->bucket != Bucket::archive && (sameTitle(*note, *other) || sameText(*note, *other));
    };
    if (std::ranges::any_of(snapshot.notes, repeats)) all.insert("duplicate " + note->id);
    if (note->bucket == Bucket::resources && note->links.empty() && note->tags.empty() &&
        snapshot.backlinks(*note).empty())
      all.insert("isolated " + note->id);
  }
  return all;
}

std::string bodyOf(const Note& note) { return note.body; }

SameNotes sameTextsOf(const VaultSnapshot& snapshot) {
  std::vector<TextMark> marks;
  for (const NoteRef& note : snapshot.notes) marks.push_back(textMark(note->body));
  return sameTexts(snapshot.notes, marks, &bodyOf);
}

TEST(SameText, IsFoundByTheBeginningHoweverItIsWritten) {
  const std::string rest = " goes on for a good while, well beyond the first sixty-four letters of all, and then ends";
  for (const std::vector<std::string>& ways :
       {std::vector<std::string>{"Quick notes on caf\u00E9s", "QUICK\n\n  notes\ton cafe\u0301s",
                                 "quick\u00A0notes\u3000on CAF\u00C9s",
                                 std::string(300, ' ') + "quick notes on caf\u00E9s"},
        {"273 kelvin", "273 \u212Aelvin", "273" + std::string(200, '\n') + "Kelvin"}}) {
    VaultSnapshot snapshot;
    for (const std::string& way : ways)
      snapshot.notes.push_back(std::make_shared<const Note>(Note{.id = way, .body = way + rest}));
    EXPECT_THAT(sameTextsOf(snapshot), testing::ElementsAre(testing::SizeIs(ways.size()))) << ways.front();
  }
}

TEST(ContextHealth, FindsWhatComparingEveryNoteWithEveryOtherFinds) {
  std::mt19937 random(20261121);
  const std::vector<std::string_view> pieces = {
      "[[Plan]]",
      "[[plan|x]]",
      "[[b/Plan]]",
      "[[Projects/a/PLAN]]",
      "[[CAFÉ]]",
      "[[cafe\u0301]]",
      "[[ς]]",
      "[[gone]]",
      "# x Y\n",
      " ",
      "\n",
      "word ",
      "WORD ",
      "e\u0301",
      "É",
      "#tag ",
      "Σ",
      "\u212A",
      "日本語の文章がとても長く続いているので、四十文字をこえることになっているはずの一文です。",
      "a long line of words that is well over the forty characters "};
  for (int round = 0; round < 1500; ++round) {
    const MadeVault vault = test::randomVault(random, pieces);
    std::multiset<std::string> all;
    for (const ContextIssue& issue : ContextHealth::check(vault.snapshot, test::noon))
      if (issue.kind == Kind::brokenLink || issue.kind == Kind::duplicate || issue.kind == Kind::isolated)
        all.insert(std::string(name(issue.kind)) + " " + issue.path);
    ASSERT_EQ(all, plainFindings(vault.snapshot)) << "in round " << round;
  }
}

}  // namespace
}  // namespace vesk
