#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <libical/ical.h>
#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/tasks/PlanCalendar.h"
#include "core/tasks/Planner.h"
#include "core/tasks/Reminders.h"
#include "core/tasks/TaskLine.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using std::chrono::sys_days;
using testing::ElementsAre;
using testing::HasSubstr;
using Kind = BlockChange::Kind;

// What stands before the match of ICU's own engine, and the minutes of its groups.
std::string entryByPattern(const std::string& typed) {
  const std::string trimmed(text::trimWhitespace(typed));
  const auto wide = icu::UnicodeString::fromUTF8(trimmed);
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(R"(\s+(?:(\d{1,2})h(?:(\d{1,2})(?:m(?:in)?)?)?|(\d{1,4})\s?m(?:in)?)$)", wide, 0, status);
  if (!matcher.find(status)) return trimmed;
  const auto value = [&](int group) {
    const icu::UnicodeString digits = matcher.group(group, status);
    int number = 0;
    for (int i = 0; i < digits.length(); i = digits.moveIndex32(i, 1))
      number = 10 * number + u_charDigitValue(digits.char32At(i));
    return number;
  };
  const int minutes = 60 * value(1) + value(2) + value(3);
  std::string before;
  wide.tempSubString(0, matcher.start(status)).toUTF8String(before);
  return minutes < 1 ? trimmed : before + " #dur/" + std::to_string(minutes);
}

TEST(PlannerEntry, TurnsADurationAtTheEndIntoItsTag) {
  const std::pair<const char*, const char*> cases[] = {
      {"Gym 2h", "Gym #dur/120"},
      {"Meeting notes 2h15\n", "Meeting notes #dur/135"},
      {"  Call \t 45 min ", "Call #dur/45"},
      {"Sleep 99h99min", "Sleep #dur/6039"},
      {"Read \u0662\u0660m", "Read #dur/20"},
      {"Plan launch 0m", "Plan launch 0m"},
      {" Call mom ", "Call mom"},
      {"2h", "2h"},
      {"Run 5  m", "Run 5  m"},
  };
  for (const auto& [typed, entry] : cases) EXPECT_EQ(Planner::entry(typed), entry);
}

TEST(PlannerEntry, AgreesWithItsPatternInLinearTime) {
  const auto alphabet = text::split("1~23~00~4567~\u0665~𝟗~h~m~min~in~ ~ ~ ~\u00A0~\u2028~\r\n~\t~x~é~ 1h~ 5 m", '~');
  std::mt19937 random(20261105);
  for (int i = 0; i < 20'000; ++i) {
    const std::string typed = "a " + test::randomText(random, alphabet, 7);
    ASSERT_EQ(Planner::entry(typed), entryByPattern(typed)) << testing::PrintToString(typed);
  }
  for (const std::string_view piece : {" ", "1", " 1", " 1h", "\u2003", "1 m"}) {
    std::string typed = "a";
    while (typed.size() < 1'000'000) typed += piece;
    EXPECT_FALSE(Planner::entry(typed + "!").ends_with("#dur/1")) << piece;
    EXPECT_TRUE(Planner::entry(typed + " 1m").ends_with("#dur/1")) << piece;
  }
}

std::vector<TaskItem> tasksOf(std::string_view lines, const std::string& noteID = "Tasks.md") {
  std::vector<TaskItem> tasks;
  for (const std::string_view line : text::split(text::trimWhitespace(lines), '\n')) {
    tasks.push_back(TaskLine::task(line).value());
    tasks.back().noteID = noteID;
  }
  return tasks;
}

std::vector<std::string> titles(const std::vector<TaskItem>& tasks) {
  std::vector<std::string> found;
  for (const TaskItem& task : tasks) found.push_back(task.title);
  return found;
}

TEST(Planner, OrdersADayTheBacklogAndTheirMinutes) {
  const auto tasks = tasksOf(
      "- [ ] low #due/2026-11-05 #prio/low\n"
      "- [ ] b #due/2026-11-05\n"
      "- [x] a, done #due/2026-11-05 #dur/9999\n"
      "- [ ] urgent #due/2026-11-05 #prio/high\n"
      "- [ ] early, low #due/2026-11-05 #at/09:00 #prio/low\n"
      "- [ ] early, high #due/2026-11-05 #at/09:00 #prio/high\n"
      "- [ ] late #due/2026-11-05 #at/18:00 #dur/90\n"
      "- [ ] no day\n"
      "- [ ] any day\n"
      "- [ ] yesterday #due/2026-11-04 #dur/0\n"
      "- [x] done yesterday #due/2026-11-04\n"
      "- [ ] in no calendar #due/2026-10-99\n");
  EXPECT_THAT(titles(Planner::tasks(tasks, 2026y / 11 / 5)),
              ElementsAre("early, high", "early, low", "late", "urgent", "a, done", "b", "low"));
  EXPECT_THAT(titles(Planner::backlog(tasks, 2026y / 11 / 5)),
              ElementsAre("in no calendar", "yesterday", "any day", "no day"));
  EXPECT_EQ(Planner::minutes(Planner::tasks(tasks, 2026y / 11 / 5)), 5 * 30 + 90);
  EXPECT_EQ(Planner::minutes(Planner::tasks(tasks, 2026y / 11 / 4)), 0);
}

TEST(Planner, StartsTasksInTheCalendarOnly) {
  const Calendar lisbon("Europe/Lisbon");
  const auto start = [&](std::string_view tags) {
    return Planner::start(tasksOf("- [ ] a " + std::string(tags)).front(), lisbon);
  };
  EXPECT_EQ(start("#due/2026-07-01 #at/09:30"), sys_days(2026y / 7 / 1) + 8h + 30min);
  for (const char* tags : {"#due/2026-07-01", "#at/09:30", "#due/2026-02-29 #at/09:30", "#due/2026-07-01 #at/24:00",
                           "#due/9999-12-31 #at/09:30", "#due/0001-01-01 #at/09:30"}) {
    EXPECT_EQ(start(tags), std::nullopt) << tags;
  }
  EXPECT_EQ(TaskDay::date("2026-07-01", lisbon), sys_days(2026y / 6 / 30) + 23h);
  EXPECT_EQ(TaskDay::date("2026-7-1", lisbon), std::nullopt);
  EXPECT_EQ(TaskDay::text(sys_days(2026y / 6 / 30) + 23h, lisbon), "2026-07-01");
}

TEST(Planner, GivesEachTaskABlockOfItsOwnThatStaysTheSame) {
  const Calendar utc("Etc/UTC");
  const std::string_view text =
      "- [x] Standup #due/2026-11-02 #at/09:00\n"
      "- [ ] Standup #due/2026-11-03 #at/09:00\n"
      "- [ ] Standup #due/2026-11-04 #at/09:00 #dur/15\n"
      "- [ ] Write #due/2026-11-03 #at/08:00 #block/00c0ffee\n"
      "- [ ] Write #due/2026-11-04 #at/08:00 #block/00c0ffee\n"
      "- [ ] Read #due/2026-11-03\n";
  const auto all = Planner::blocks(tasksOf(text), 2026y / 11 / 1, 2026y / 11 / 30, utc);
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[0], (TaskBlock{"00c0ffee", "Write", sys_days(2026y / 11 / 3) + 8h, 30, {}}));
  EXPECT_EQ(all[3], (TaskBlock{all[3].id, "Standup", sys_days(2026y / 11 / 4) + 9h, 15, {}}));
  for (const TaskBlock& block : all) EXPECT_EQ(std::ranges::count(all, block.id, &TaskBlock::id), 1) << block.id;
  // Neither another range of days, nor what becomes of the tasks before it, nor another day makes it another block.
  EXPECT_THAT(Planner::blocks(tasksOf(text), 2026y / 11 / 4, 2026y / 11 / 4, utc), ElementsAre(all[2], all[3]));
  std::string later(text);
  later.replace(later.find("[ ]"), 3, "[x]").replace(later.find("11-04"), 5, "11-09");
  later.insert(later.find('\n'), " #block/12345678");
  EXPECT_EQ(Planner::blocks(tasksOf(later), 2026y / 11 / 9, 2026y / 11 / 9, utc).at(0).id, all[3].id);
  EXPECT_NE(Planner::blocks(tasksOf(text, "Other.md"), 2026y / 11 / 4, 2026y / 11 / 4, utc).at(1).id, all[3].id);
  EXPECT_EQ(all[3].id, "19a9fc1f") << "an id outlives the program that made it";
}

// "update E1 60, …": what happens to which event, and the minutes of its block.
std::string described(const std::vector<BlockChange>& changes) {
  std::string text;
  for (const auto& [kind, block] : changes) {
    const char* names[] = {"create", "update", "remove", "adopt", "release"};
    const std::string eventID = block.eventID.value_or("none");
    text += fmt::format("{}{} {} {}", text.empty() ? "" : ", ", names[static_cast<int>(kind)], eventID, block.minutes);
  }
  return text;
}

TEST(PlannerReconcile, FollowsItsTable) {
  const TaskBlock wanted{"b", "Write", sys_days(2026y / 11 / 5) + 9h, 60, {}};
  const auto event = [&](const char* eventID, int minutes) {
    return TaskBlock{"b", "Write", wanted.start, minutes, eventID};
  };
  struct Case {
    std::vector<TaskBlock> wanted;
    std::vector<TaskBlock> events;
    std::map<std::string, std::string> known;
    const char* changes;
  };
  const Case cases[] = {
      {{wanted}, {}, {}, "create none 60"},
      {{wanted}, {}, {{"b", "E1"}}, "release E1 60"},
      {{wanted}, {event("E1", 60)}, {{"b", "E1"}}, ""},
      {{wanted}, {event("E1", 60)}, {}, "adopt E1 60"},
      {{wanted}, {event("E1", 60)}, {{"b", "E2"}}, "adopt E1 60"},
      {{wanted}, {event("E1", 5)}, {{"b", "E1"}}, "update E1 60"},
      {{wanted}, {{"b", "Read", wanted.start, 60, "E1"}}, {{"b", "E1"}}, "update E1 60"},
      {{wanted}, {event("E1", 5)}, {}, "adopt E1 60, update E1 60"},
      {{wanted}, {event("E1", 5)}, {{"b", "E2"}}, "adopt E1 60, update E1 60"},
      {{}, {}, {{"b", "E1"}}, "release E1 0"},
      {{}, {event("E1", 5)}, {{"b", "E1"}}, "remove E1 5"},
      {{}, {event("E1", 5)}, {}, ""},
      {{}, {event("E1", 5)}, {{"b", "E2"}}, "remove E1 5"},
      // Several events of one block, one without an id, and a block that is asked for twice.
      {{wanted}, {event("E1", 5), event("E2", 60)}, {{"b", "E2"}}, ""},
      {{wanted}, {event("E2", 5), event("E1", 60)}, {}, "adopt E1 60"},
      {{wanted, event("E9", 5)}, {{.id = "b"}}, {}, "create none 60"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(described(Planner::reconcile(c.wanted, c.events, c.known)), c.changes) << "row " << &c - cases;
  }
}

// The calendar, and the tasks behind it.
struct FakeCalendar {
  std::vector<TaskBlock> wanted, events;
  std::map<std::string, std::string> known;

  std::vector<BlockChange> changes() const { return Planner::reconcile(wanted, events, known); }

  void apply(const BlockChange& change) {
    TaskBlock event = change.block;
    const auto isEvent = [&](const TaskBlock& other) { return other.eventID == change.block.eventID; };
    if (change.kind == Kind::create) {
      event.eventID = "made for " + event.id;
      events.push_back(event);
    }
    if (change.kind == Kind::update) std::ranges::replace_if(events, isEvent, event);
    if (change.kind == Kind::remove) std::erase_if(events, isEvent);
    if (change.kind == Kind::create || change.kind == Kind::adopt) known[event.id] = event.eventID.value();
    if (change.kind == Kind::remove || change.kind == Kind::release) known.erase(event.id);
    if (change.kind == Kind::release) std::erase_if(wanted, [&](const auto& block) { return block.id == event.id; });
  }
};

TEST(PlannerReconcile, LeavesNothingToDoOnceItIsDone) {
  std::mt19937 random(20261105);
  const auto pick = [&](const char* prefix, unsigned count) { return prefix + std::to_string(random() % count); };
  const auto block = [&] { return TaskBlock{pick("b", 6), pick("t", 2), Timestamp(1h * (random() % 2)), 30, {}}; };
  for (int i = 0; i < 5'000; ++i) {
    FakeCalendar calendar;
    for (auto count = random() % 6; count > 0; --count) calendar.wanted.push_back(block());
    for (auto count = random() % 6; count > 0; --count) calendar.events.push_back(block());
    for (auto count = random() % 6; count > 0; --count) calendar.known[pick("b", 6)] = pick("E", 8);
    for (TaskBlock& event : calendar.events) event.eventID = "E" + std::to_string(&event - calendar.events.data());

    const auto changes = calendar.changes();
    std::ranges::shuffle(calendar.events, random);
    ASSERT_EQ(calendar.changes(), changes);
    for (const BlockChange& change : changes) calendar.apply(change);
    ASSERT_EQ(described(calendar.changes()), "");
    for (const TaskBlock& wanted : calendar.wanted) ASSERT_TRUE(calendar.known.contains(wanted.id));
  }
}

// The titles of a calendar's events, as libical reads them.
std::vector<std::string> titlesIn(const std::string& text) {
  const std::shared_ptr<icalcomponent> calendar(icalparser_parse_string(text.c_str()), icalcomponent_free);
  std::vector<std::string> found;
  icalcomponent* event = icalcomponent_get_first_component(calendar.get(), ICAL_VEVENT_COMPONENT);
  for (; event != nullptr; event = icalcomponent_get_next_component(calendar.get(), ICAL_VEVENT_COMPONENT))
    found.emplace_back(icalcomponent_get_summary(event));
  return found;
}

TEST(PlanCalendar, KeepsLocalTimesWhenClocksChange) {
  const auto plan = [](const char* zone, const char* lines) {
    return iCalendar(Planner::blocks(tasksOf(lines), 2026y / 1 / 1, 2026y / 12 / 31, Calendar(zone)));
  };
  EXPECT_EQ(plan("Europe/Lisbon", "- [ ] Sleep, late #due/2026-10-25 #at/00:30 #dur/120 #block/0000000a"),
            "BEGIN:VCALENDAR\r\nPRODID:-//Vesk//Planner//EN\r\nVERSION:2.0\r\n"
            "BEGIN:VEVENT\r\nUID:0000000a@vesk\r\nDTSTAMP:20261024T233000Z\r\nDTSTART:20261024T233000Z\r\n"
            "DTEND:20261025T013000Z\r\nSUMMARY:Sleep\\, late\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
  EXPECT_THAT(plan("America/New_York", "- [ ] a #due/2026-03-07 #at/09:00"), HasSubstr("DTSTART:20260307T140000Z\r\n"));
  EXPECT_THAT(plan("America/New_York", "- [ ] a #due/2026-03-08 #at/09:00"), HasSubstr("DTSTART:20260308T130000Z\r\n"));
}

TEST(PlanCalendar, CarriesEveryTitle) {
  const auto alphabet =
      text::split(",~;~:~\\~\\n~\"~'~\n~ ~  ~BEGIN:VEVENT~\nEND:VEVENT~é~e\u0301~中~😀~👩\u200D🚀~\u2028~=~x", '~');
  std::mt19937 random(20261105);
  std::vector<std::string> titles(1, "");
  while (titles[0].size() < 1'000'000) titles[0] += "日本語😀,";
  while (titles.size() < 1'000) titles.push_back("a" + test::randomText(random, alphabet, 60) + "z");
  std::vector<TaskBlock> blocks;
  for (const std::string& title : titles) blocks.push_back({"0000000a", title, Timestamp(-1h), 9'999, {}});
  const std::string text = iCalendar(blocks);
  EXPECT_EQ(titlesIn(text), titles);
  EXPECT_EQ(iCalendar(blocks), text);
  for (const std::string_view line : text::split(text, '\n')) {
    ASSERT_TRUE(line.empty() || (line.ends_with('\r') && line.size() <= 76 && text::isValidUtf8(line))) << line;
  }
  const TaskBlock hostile{"i\r\nd", "a\r\nb\rc\x01\t\x7F\x1F\0d"s, Timestamp::max(), 2'000'000'000, {}};
  EXPECT_THAT(titlesIn(iCalendar({hostile, blocks.back()})), ElementsAre("a\nb\nc     d", titles.back()));
  EXPECT_THAT(titlesIn(iCalendar({})), ElementsAre());
}

TEST(Reminders, RingWhenTheyAreStillToCome) {
  std::vector<TaskItem> tasks;
  for (const char* line : {"- [ ] b #due/2026-03-29 #remind/02:30", "- [ ] a #due/2026-03-28 #remind/09:00",
                           "- [x] done #due/2026-03-29 #remind/09:00", "- [ ] no day #remind/09:00",
                           "- [ ] none such #due/2026-02-30 #remind/09:00", "- [ ] late #due/2026-03-29 #remind/24:00"})
    tasks.push_back(*TaskLine::task(line));
  const Calendar berlin("Europe/Berlin");  // where clocks went from 2 to 3 on that night
  const Timestamp nine = *time::parseIso8601("2026-03-28T08:00:00Z");
  const auto titles = [&](Timestamp after) {
    std::string found;
    for (const Reminder& reminder : upcomingReminders(tasks, after, berlin))
      found += reminder.task.title + " " + time::iso8601(reminder.date) + " ";
    return found;
  };
  EXPECT_EQ(titles(nine - std::chrono::seconds(1)), "a 2026-03-28T08:00:00Z b 2026-03-29T01:30:00Z ");
  EXPECT_EQ(titles(nine), "b 2026-03-29T01:30:00Z ");
}

}  // namespace
}  // namespace vesk
