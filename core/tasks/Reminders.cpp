#include "core/tasks/Reminders.h"

#include <algorithm>
#include <optional>

namespace vesk {

namespace {

std::optional<Timestamp> dateOf(const TaskItem& task, const Calendar& calendar) {
  const auto day = task.due ? time::parseDay(*task.due) : std::nullopt;
  const auto at = task.reminder ? time::parseTimeOfDay(*task.reminder) : std::nullopt;
  return day && at ? std::optional(calendar.moment(*day, *at)) : std::nullopt;
}

}  // namespace

std::vector<Reminder> upcomingReminders(const std::vector<TaskItem>& tasks, Timestamp after, const Calendar& calendar) {
  std::vector<Reminder> reminders;
  for (const TaskItem& task : tasks) {
    const auto date = task.status == TaskStatus::done ? std::nullopt : dateOf(task, calendar);
    if (date && *date > after) reminders.push_back({task, *date});
  }
  std::stable_sort(reminders.begin(), reminders.end(),
                   [](const Reminder& a, const Reminder& b) { return a.date < b.date; });
  return reminders;
}

}  // namespace vesk
