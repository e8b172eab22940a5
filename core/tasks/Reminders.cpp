#include "core/tasks/Reminders.h"

#include <algorithm>
#include <optional>

#include "core/tasks/Planner.h"

namespace vesk {

std::vector<Reminder> upcomingReminders(const std::vector<TaskItem>& tasks, Timestamp after, const Calendar& calendar) {
  std::vector<Reminder> reminders;
  for (const TaskItem& task : tasks) {
    const auto date =
        task.status == TaskStatus::done ? std::nullopt : Planner::moment(task.due, task.reminder, calendar);
    if (date && *date > after) reminders.push_back({task, *date});
  }
  std::stable_sort(reminders.begin(), reminders.end(),
                   [](const Reminder& a, const Reminder& b) { return a.date < b.date; });
  return reminders;
}

}  // namespace vesk
