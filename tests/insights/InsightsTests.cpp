#include "core/insights/Insights.h"
#include "core/insights/Sources.h"
#include "tests/insights/InsightsTesting.h"

namespace vesk {
namespace {

using test::MadeVault;
using testing::ElementsAre;

const Calendar utc("Etc/UTC");

Timestamp at(std::string_view moment) { return time::parseIso8601(moment).value(); }

std::vector<std::string> names(const std::vector<CollectionSummary>& summaries) {
  std::vector<std::string> found;
  for (const CollectionSummary& summary : summaries) found.push_back(summary.folder.name);
  return found;
}

TEST(Insights, TellHowCollectionsAreDoing) {
  MadeVault vault;
  vault.folderAt("Projects/Empty");
  vault.add("Projects/Done/a.md", "- [x] one\n- [x] two\n- [ ] ", test::daysBefore(400));
  vault.add("Projects/Done/chat.md", "- [ ] theirs\n#ai-conversation", test::daysBefore(500));
  vault.add("Projects/Active/a.md", "- [ ] old #due/2026-01-01", test::daysBefore(90));
  vault.add("Projects/Active/deep/b.md", "- [x] done\n- [ ] see [[x|this]]", test::daysBefore(13));
  vault.add("Projects/Stalled/a.md", "- [ ] one", test::daysBefore(14));
  vault.add("Projects/Longer/a.md", "no task", test::daysBefore(30));
  vault.add("Projects/loose.md", "- [ ] in no project", test::daysBefore(100));
  const auto projects = Insights::collections(Bucket::projects, vault.snapshot);
  std::vector<std::string> lines;
  for (const CollectionSummary& project : projects)
    lines.push_back(project.folder.name + " " + std::string(name(project.status(test::noon, utc))) + " " +
                    std::to_string(project.daysQuiet(test::noon, utc).value_or(-1)) + " " +
                    std::to_string(project.doneTasks) + "/" + std::to_string(project.totalTasks()));
  EXPECT_THAT(lines, ElementsAre("Empty Stalled -1 0/0", "Done Done 400 2/2", "Active Active 13 1/3",
                                 "Stalled Stalled 14 0/1", "Longer Stalled 30 0/0"));
  EXPECT_THAT(projects[2].openTasks(), ElementsAre("old", "see this"));
  EXPECT_THAT(names(Insights::stalledProjects(vault.snapshot, test::noon, utc)), ElementsAre("Longer", "Stalled"));
  EXPECT_TRUE(Insights::collections(Bucket::sources, vault.snapshot).empty());

  vault.add("Areas/29/a.md", "", test::daysBefore(29));
  vault.add("Areas/30/a.md", "", test::daysBefore(30));
  vault.add("Areas/unknown/a.md", "", distantPast);
  vault.folderAt("Areas/none");
  EXPECT_THAT(names(Insights::untouchedAreas(vault.snapshot, test::noon, utc)), ElementsAre("unknown", "30"));
}

TEST(Insights, CountTheDaysOfTheCalendar) {
  struct Case {
    const char* zone;
    const char* last;
    const char* now;
    int days;
  };
  const Case cases[] = {{"Europe/Lisbon", "2026-03-28T23:59:59Z", "2026-03-29T00:00:00Z", 1},   // spring forward
                        {"Europe/Lisbon", "2026-03-28T00:00:00Z", "2026-04-10T22:59:59Z", 13},  // an hour short
                        {"Europe/Lisbon", "2026-03-28T00:00:00Z", "2026-04-10T23:00:00Z", 14},
                        {"Europe/Lisbon", "2026-10-24T22:59:59Z", "2026-10-25T23:59:59Z", 1},  // a day of 25 hours
                        {"Europe/Lisbon", "2026-10-24T22:59:59Z", "2026-10-26T00:00:00Z", 2},
                        {"America/Santiago", "2026-09-06T03:59:59Z", "2026-09-06T04:00:00Z", 1},  // begins at 01:00
                        {"Pacific/Kiritimati", "2026-11-20T09:59:59Z", "2026-11-20T10:00:00Z", 1},
                        {"Etc/UTC", "2026-11-22T00:00:00Z", "2026-11-21T00:00:00Z", 0}};  // the clock was set back
  for (const Case& c : cases) {
    const CollectionSummary summary{.lastActivity = at(c.last)};
    EXPECT_EQ(summary.daysQuiet(at(c.now), Calendar(c.zone)), c.days) << c.zone << " " << c.now;
  }
}

TEST(Insights, CountNotesByTheDayTheyWereMade) {
  using namespace std::chrono;
  const Calendar santiago("America/Santiago");
  const Timestamp now = at("2026-09-07T12:00:00Z");
  MadeVault vault;
  const char* const made[] = {"2026-09-04T03:59:59Z", "2026-09-04T04:00:00Z", "2026-09-06T03:59:59Z",
                              "2026-09-06T04:00:00Z", "2026-09-07T02:59:59Z", "2026-09-08T02:59:59Z",
                              "2026-09-08T03:00:00Z"};
  for (const char* moment : made) vault.add(std::string(moment) + ".md", "", now, at(moment));
  vault.add("unknown.md", "", now, distantPast);
  vault.add("last.md", "", now, Timestamp::max());
  EXPECT_THAT(Insights::savedPerDay(vault.snapshot, 4, now, santiago),
              ElementsAre(DayCount{2026y / 9 / 4, 1}, DayCount{2026y / 9 / 5, 1}, DayCount{2026y / 9 / 6, 2},
                          DayCount{2026y / 9 / 7, 1}));
  EXPECT_EQ(Insights::savedPerDay({}, 15, now, santiago).size(), 15u);
  EXPECT_TRUE(Insights::savedPerDay({}, 0, now, santiago).empty());

  EXPECT_EQ(Insights::nextReview(at("2026-09-06T04:00:00Z"), santiago), 2026y / 9 / 6)
      << "a Sunday that begins at 01:00";
  EXPECT_EQ(Insights::nextReview(at("2026-09-06T03:59:59Z"), santiago), 2026y / 9 / 6) << "still Saturday";
  EXPECT_EQ(Insights::nextReview(at("2026-09-07T03:00:00Z"), santiago), 2026y / 9 / 13) << "Monday";
}

TEST(Sources, AreUnprocessedUntilANoteOutsideCitesThem) {
  MadeVault vault;
  vault.add("Sources/cited.md", "");
  vault.add("Sources/deep/titled.md", "# A/B Test");
  vault.add("Sources/old.md", "[[new]]", test::daysBefore(2));
  vault.add("Sources/new.md", "[[new]]", test::daysBefore(1));
  vault.add("Sources/page.md", "---\nvesk: true\n---\n");
  vault.add("Archive/a.md", "[[any/CITED#part]] [[a/b test]]");
  std::vector<std::string> paths;
  for (const NoteRef& note : unprocessedSources(vault.snapshot)) paths.push_back(note->id);
  EXPECT_THAT(paths, ElementsAre("Sources/new.md", "Sources/old.md"));
}

}  // namespace
}  // namespace vesk
