// vesk today, week, backlog and hours: tasks laid out over the days.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/Options.h"
#include "app/PlannerSettings.h"
#include "app/TaskRows.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/platform/Environment.h"
#include "core/platform/FileLock.h"
#include "core/tasks/Planner.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace {

using Tasks = std::vector<TaskItem>;

// ---- A day's plan

// The hours of a day that a task takes.
struct Slot {
  TaskItem task = {};
  int begin = 0;  // minutes after midnight
  int end = 0;
};

struct DayPlan {
  Day day = {};
  Tasks tasks = {};
  std::int64_t planned = 0;  // minutes
  int available = 0;         // minutes
  std::vector<std::pair<Slot, Slot>> overlaps = {};

  // Of a day that is off nothing is expected.
  std::int64_t overbooked() const { return available == 0 ? 0 : std::max<std::int64_t>(0, planned - available); }
};

// Of the tasks with a time, which come first and are in its order.
std::vector<Slot> slotsOf(const Tasks& tasks) {
  std::vector<Slot> slots;
  for (const TaskItem& task : tasks) {
    const auto time = time::parseTimeOfDay(task.start.value_or(""));
    if (!time || task.status == TaskStatus::done) continue;
    const int begin = 60 * time->hour + time->minute;
    slots.push_back({task, begin, begin + task.duration.value_or(Planner::defaultDuration)});
  }
  return slots;
}

// Each task that begins before another has ended, with the one of those that ends last.
std::vector<std::pair<Slot, Slot>> overlapsOf(const std::vector<Slot>& slots) {
  std::vector<std::pair<Slot, Slot>> overlaps;
  const Slot* longest = nullptr;
  for (const Slot& slot : slots) {
    if (longest && slot.begin < longest->end) overlaps.emplace_back(*longest, slot);
    if (!longest || slot.end > longest->end) longest = &slot;
  }
  return overlaps;
}

DayPlan planOf(const Tasks& all, Day day, const PlannerSettings& settings) {
  DayPlan plan{.day = day, .tasks = Planner::tasks(all, day), .available = settings.minutes(day)};
  plan.planned = Planner::minutes(plan.tasks);
  plan.overlaps = overlapsOf(slotsOf(plan.tasks));
  return plan;
}

Json::Object toJson(const DayPlan& plan) {
  Json::Array overlaps;
  for (const auto& [first, second] : plan.overlaps) overlaps.push_back(Json::Array{first.task.id(), second.task.id()});
  return {{"day", time::isoDay(plan.day)},
          {"tasks", taskEntries(plan.tasks)},
          {"planned_minutes", plan.planned},
          {"working_minutes", plan.available},
          {"overlaps", std::move(overlaps)}};
}

// "5 h 30 min planned of 8 h".
std::string load(const DayPlan& plan, const Terminal& terminal) {
  if (plan.available == 0) return fmt::format("{} planned on a day off", longDuration(plan.planned));
  std::string text = fmt::format("{} planned of {}", longDuration(plan.planned), longDuration(plan.available));
  if (plan.overbooked() == 0) return text;
  return styled(fmt::format("{}: over-booked by {}", text, longDuration(plan.overbooked())), Style::bad, terminal);
}

std::string clock(int minutes) { return fmt::format("{:02}:{:02}", minutes / 60 % 24, minutes % 60); }

std::string describe(const Slot& slot) {
  return fmt::format("{}–{} {}", clock(slot.begin), clock(slot.end), safe(slot.task.title));
}

void printTasks(const DayPlan& plan, const TaskRows& rows, const Terminal& terminal) {
  print("{}", rows.text(plan.tasks, TaskDate::start));
  for (const auto& [first, second] : plan.overlaps)
    print("{} {}, and {}\n", styled("Overlap:", Style::bad, terminal), describe(first), describe(second));
}

// ---- today

struct TodayOptions {
  std::string day = {};
  bool asJson = false;
};

// "7 wait in the backlog, 2 of them since a day that is over: vesk backlog".
std::string describeBacklog(const Tasks& backlog) {
  if (backlog.empty()) return "Nothing waits in the backlog.";
  const auto late = std::ranges::count_if(backlog, [](const TaskItem& task) { return task.due.has_value(); });
  std::string text = fmt::format("{} {} in the backlog", backlog.size(), backlog.size() == 1 ? "waits" : "wait");
  if (late > 0) text += fmt::format(", {} overdue", late);
  return text + ": vesk backlog";
}

void showToday(const TodayOptions& options) {
  const Tasks tasks = tasksOf(currentVault());
  const Day now = today();
  const DayPlan plan =
      planOf(tasks, typedDay(options.day).value_or(now), PlannerSettings::load(environment::supportDirectory()));
  const Tasks backlog = Planner::backlog(tasks, now);
  if (options.asJson) {
    Json json = toJson(plan);
    json["backlog"] = backlog.size();
    return print("{}\n", json.pretty());
  }
  const Terminal terminal = Terminal::ofStandardOutput();
  print("{}\n\n", styled(longDay(plan.day), Style::strong, terminal));
  printTasks(plan, TaskRows(tasks, now, terminal), terminal);
  print("{}{}.\n{}\n", plan.tasks.empty() ? "" : "\n", load(plan, terminal), describeBacklog(backlog));
}

// ---- week

struct WeekOptions {
  std::string from = {};
  bool asJson = false;
};

Day mondayOf(Day day) {
  return daysAfter(day,
                   -static_cast<int>((std::chrono::weekday(std::chrono::sys_days(day)) - std::chrono::Monday).count()));
}

// What there is on the days that are not shown; "" when that is nothing.
std::string describeHidden(const std::vector<DayPlan>& plans) {
  std::size_t tasks = 0;
  std::int64_t minutes = 0;
  for (const DayPlan& plan : plans) {
    tasks += plan.tasks.size();
    minutes += plan.planned;
  }
  if (tasks == 0) return "";
  return fmt::format("The weekend is hidden; it has {}, {} planned: vesk hours --show-weekends\n",
                     counted(tasks, "task"), longDuration(minutes));
}

void printWeek(const std::vector<DayPlan>& plans, const Tasks& tasks, const PlannerSettings& settings) {
  const Terminal terminal = Terminal::ofStandardOutput();
  const Day now = today();
  const TaskRows rows(tasks, now, terminal);
  std::vector<DayPlan> hidden;
  bool isFirst = true;
  for (const DayPlan& plan : plans) {
    if (settings.hides(plan.day)) {
      hidden.push_back(plan);
      continue;
    }
    if (!std::exchange(isFirst, false)) print("\n");
    const std::string day = shortDay(plan.day) + (plan.day == now ? ", today" : "");
    print("{}  {}\n", styled(day, Style::strong, terminal), load(plan, terminal));
    printTasks(plan, rows, terminal);
  }
  if (const std::string text = describeHidden(hidden); !text.empty()) print("\n{}", text);
}

void showWeek(const WeekOptions& options) {
  const Tasks tasks = tasksOf(currentVault());
  const PlannerSettings settings = PlannerSettings::load(environment::supportDirectory());
  const Day from = typedDay(options.from).value_or(mondayOf(today()));
  std::vector<DayPlan> plans;
  for (int i = 0; i < 7; ++i) plans.push_back(planOf(tasks, daysAfter(from, i), settings));
  if (!options.asJson) return printWeek(plans, tasks, settings);
  Json::Array days;
  for (const DayPlan& plan : plans) {
    Json::Object day = toJson(plan);
    day["hidden"] = settings.hides(plan.day);
    days.emplace_back(std::move(day));
  }
  print("{}\n", Json(Json::Object{{"days", std::move(days)}}).pretty());
}

// ---- backlog

struct BacklogOptions {
  std::size_t limit = unlimited;
  bool asJson = false;
};

void showBacklog(const BacklogOptions& options) {
  const Tasks tasks = tasksOf(currentVault());
  Tasks backlog = Planner::backlog(tasks, today());
  const std::size_t total = backlog.size();
  backlog.resize(std::min(total, options.limit));
  if (options.asJson) {
    const Json json = Json::Object{{"tasks", taskEntries(backlog)}, {"total", total}};
    return print("{}\n", json.pretty());
  }
  if (backlog.empty()) fmt::print(stderr, "Nothing waits in the backlog.\n");
  print("{}", TaskRows(tasks, today(), Terminal::ofStandardOutput()).text(backlog, TaskDate::due));
}

// ---- hours

struct HoursOptions {
  std::string hours = {};
  bool hideWeekends = false;
  bool showWeekends = false;
  bool asJson = false;

  bool changesAnything() const { return !hours.empty() || hideWeekends || showWeekends; }
};

PlannerSettings changedSettings(const HoursOptions& options) {
  const std::string directory = environment::supportDirectory();
  makePrivateFolder(directory);
  const FileLock lock(directory);
  warnOfUnreadable(directory, PlannerSettings::fileName);
  PlannerSettings settings = PlannerSettings::load(directory);
  settings.hours = workHours(options.hours).value_or(settings.hours);
  if (options.hideWeekends || options.showWeekends) settings.hidesWeekends = options.hideWeekends;
  settings.save(directory);
  return settings;
}

void showHours(const HoursOptions& options) {
  const PlannerSettings settings =
      options.changesAnything() ? changedSettings(options) : PlannerSettings::load(environment::supportDirectory());
  if (options.asJson) {
    const Json json = Json::Object{{"hours", text(settings.hours)},
                                   {"working_minutes", settings.hours.minutes()},
                                   {"hides_weekends", settings.hidesWeekends}};
    return print("{}\n", json.pretty());
  }
  print("Working hours  {} ({} a day)\n", text(settings.hours), longDuration(settings.hours.minutes()));
  print("Weekends       {}\n", settings.hidesWeekends ? "hidden" : "shown");
}

std::string complaintAboutHours(const std::string& typed) {
  return workHours(typed) ? "" : fmt::format("{} are no hours of a day. Write them as 09:00-17:30.", typed);
}

}  // namespace

void addTodayCommand(CLI::App& program) {
  const auto options = std::make_shared<TodayOptions>();
  CLI::App* command = program.add_subcommand("today", "Show a day's tasks, and whether they fit into it.");
  command->add_option("--day", options->day, "Another day: YYYY-MM-DD or tomorrow.")->check(isDay());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showToday(*options); });
}

void addWeekCommand(CLI::App& program) {
  const auto options = std::make_shared<WeekOptions>();
  CLI::App* command = program.add_subcommand("week", "Show the tasks of a week, day by day.");
  command->add_option("--from", options->from, "Seven days from this one on: YYYY-MM-DD, today or tomorrow.")
      ->check(isDay());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showWeek(*options); });
}

void addBacklogCommand(CLI::App& program) {
  const auto options = std::make_shared<BacklogOptions>();
  CLI::App* command = program.add_subcommand("backlog", "List what has no day, or one that is over.");
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showBacklog(*options); });
}

void addHoursCommand(CLI::App& program) {
  const auto options = std::make_shared<HoursOptions>();
  CLI::App* command = program.add_subcommand("hours", "Show or set the hours you work.");
  command->add_option("HOURS", options->hours, "Such as 09:00-17:30.")->check(CLI::Validator(complaintAboutHours, ""));
  CLI::Option* hide = command->add_flag("--hide-weekends", options->hideWeekends, "Leave weekends out of the week.");
  command->add_flag("--show-weekends", options->showWeekends, "Show them again.")->excludes(hide);
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showHours(*options); });
}

}  // namespace vesk::app
