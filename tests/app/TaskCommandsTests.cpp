#include "core/base/Json.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Days so far off that none of them is over.
class TaskCommands : public testing::Test {
 protected:
  TaskCommands() {
    vault.write("Projects/Garden/Plan.md",
                "# Plan\n"
                "- [ ] Plant roses #due/2199-03-01 #at/10:00 #dur/120\n"
                "- [ ] Plant ferns #due/2199-03-01 #at/11:30\n"
                "- [x] Plant figs #due/2199-03-01 #dur/300\n"
                "- [ ] \n"
                "- [ ] Weed #status/doing\n"
                "- [ ] Water #due/2199-03-02 #at/07:00 #dur/45\n");
    vault.write("Archive/Old.md", "- [ ] Old #due/2199-03-01\n");
    vesk({"open", vault.path(), "--method", "para"});
  }

  // The titles of the tasks that are listed.
  std::vector<std::string> listed(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const Json json = Json::parse(vesk(arguments).output);
    std::vector<std::string> titles;
    for (const Json& task : *json.find("tasks")->array()) titles.push_back(*task.find("title")->string());
    return titles;
  }

  TemporaryFolder vault;
};

TEST_F(TaskCommands, ListWhatIsAskedForTheSoonestDueFirst) {
  EXPECT_THAT(listed({"tasks"}), ElementsAre("Plant roses", "Plant ferns", "Water", "Weed"));
  EXPECT_THAT(listed({"tasks", "--all", "--due", "2199-03-01"}),
              ElementsAre("Plant roses", "Plant ferns", "Plant figs"));
  EXPECT_THAT(listed({"tasks", "--status", "done"}), ElementsAre("Plant figs"));
  EXPECT_THAT(listed({"tasks", "--status", "doing", "--folder", "Projects/"}), ElementsAre("Weed"));
  EXPECT_THAT(listed({"tasks", "--due", "tomorrow"}), IsEmpty());
  EXPECT_THAT(listed({"backlog"}), ElementsAre("Weed"));
  EXPECT_EQ(vesk({"tasks", "--status", "doing"}).output, "            ◐  Weed  Projects/Garden/Plan.md#5\n");
  EXPECT_EQ(vesk({"tasks", "--limit", "1"}, {.environment = {{"NO_COLOR", "1"}}, .terminalColumns = 50}).output,
            "2199-03-01  ○  Plant roses (10:00 2h)  Plan.md#1\n");
}

TEST_F(TaskCommands, AddToTheInboxOrToTheListOfAFolder) {
  EXPECT_EQ(vesk({"add", "Call", "Ana\x1b[2J 1h30 #home", "--due", "2199-03-02"}).output,
            "Added Call Ana\uFFFD[2J #home (1h30, due 2199-03-02)\n  Inbox/Tasks.md#0\n");
  EXPECT_EQ(vault.read("Inbox/Tasks.md"), "- [ ] Call Ana\x1b[2J #home #due/2199-03-02 #dur/90\n");
  EXPECT_EQ(vesk({"add", "done today", "--folder", "Projects/Garden"}).exitStatus, 0);
  EXPECT_EQ(vault.read("Projects/Garden/Tasks.md"), "- [ ] done today\n");
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"add", "#due/2199-03-02"}, {"add", "x", "--folder", "Nowhere"}}) {
    EXPECT_EQ(vesk(wrong).exitStatus, 1);
  }
}

TEST_F(TaskCommands, FindATaskByItsIdOrItsWords) {
  struct Case {
    std::vector<std::string> typed;
    int exitStatus;
    const char* said;
  };
  const Case cases[] = {
      {{"done", "PLANT", "ROSES"}, 0, "Plant roses is done now.\n  Projects/Garden/Plan.md#1\n"},
      {{"done", "roses"}, 1, "No task that isn't done yet matches \"roses\"."},
      {{"done", "Projects/Garden/Plan.md#1"}, 0, "Plant roses is done already.\n"},
      {{"doing", "plant"}, 1, "3 tasks match \"plant\"."},
      {{"doing", "plant"}, 1, "  Projects/Garden/Plan.md#2  Plant ferns\n"},
      {{"doing", "Garden/Plan.md#2"}, 0, "Plant ferns is doing now."},
      {{"todo", "figs"}, 0, "Plant figs is todo now."},
      {{"done", "Archive/Old.md#0"}, 0, "Old is done now."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.typed));
    const ProgramResult result = vesk(c.typed);
    EXPECT_EQ(result.exitStatus, c.exitStatus);
    EXPECT_THAT(result.output + result.errors, HasSubstr(c.said));
  }
  EXPECT_THAT(vault.read("Projects/Garden/Plan.md"),
              AllOf(HasSubstr("- [x] Plant roses #due/2199-03-01"), HasSubstr("- [ ] Plant figs"),
                    HasSubstr("- [ ] Plant ferns #status/doing #due/2199-03-01 #at/11:30\n")));
}

TEST_F(TaskCommands, ADayShowsWhatIsTooMuchForIt) {
  vesk({"hours", "09:00-11:00"});
  EXPECT_EQ(vesk({"today", "--day", "2199-03-01"}).output,
            "Friday 1 March 2199\n\n"
            "10:00  ○  Plant roses (2h)  Projects/Garden/Plan.md#1\n"
            "11:30  ○  Plant ferns       Projects/Garden/Plan.md#2\n"
            "       ✓  Plant figs (5h)   Projects/Garden/Plan.md#3\n"
            "Overlap: 10:00–12:00 Plant roses, and 11:30–12:00 Plant ferns\n\n"
            "2 h 30 min planned of 2 h: over-booked by 30 min.\n"
            "1 waits in the backlog: vesk backlog\n");
}

TEST_F(TaskCommands, AWeekStillCountsTheWeekendThatItHides) {
  vault.write("../support/planner.json", R"({"plannerWorkHours": "later", "plannerColor": "blue"})");
  EXPECT_EQ(vesk({"hours"}).output, "Working hours  09:00-17:00 (8 h a day)\nWeekends       shown\n");
  EXPECT_EQ(vesk({"hours", "8-17"}).exitStatus, 2);
  EXPECT_EQ(vesk({"hours", "--hide-weekends"}).exitStatus, 0);
  EXPECT_EQ(Json::parse(vault.read("../support/planner.json")),
            Json::parse(R"({"plannerWorkHours":"09:00-17:00","plannerHideWeekends":true,"plannerColor":"blue"})"));
  const std::string week = vesk({"week", "--from", "2199-03-01"}).output;
  EXPECT_THAT(week, AllOf(HasSubstr("Fri  1 Mar  2 h 30 min planned of 8 h\n10:00  ○  Plant roses"),
                          HasSubstr("it has 1 task, 45 min planned"), testing::Not(HasSubstr("Water"))));
}

TEST_F(TaskCommands, APlanWrittenTwiceIsTheSame) {
  const std::vector<std::string> plan = {"plan", "--from", "2199-03-01", "--ics", vault.at("plan.ics")};
  EXPECT_THAT(vesk(plan).output, HasSubstr("Wrote 3 blocks to "));
  const std::string written = vault.read("plan.ics");
  vesk(plan);
  EXPECT_EQ(vault.read("plan.ics"), written);
  EXPECT_EQ(vesk({"plan", "--from", "2199-03-01", "--ics", "-"}).output, written);
  EXPECT_THAT(written, AllOf(testing::StartsWith("BEGIN:VCALENDAR\r\n"), HasSubstr("SUMMARY:Water\r\n")));
  EXPECT_EQ(vesk({"plan", "--from", "2199-03-02", "--to", "2199-03-01"}).exitStatus, 2);
}

}  // namespace

}  // namespace vesk::test
