#pragma once

#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/tasks/TaskItem.h"

namespace vesk {

// A task, and when the user wants to be reminded of it.
struct Reminder {
  TaskItem task = {};
  Timestamp date = {};

  bool operator==(const Reminder&) const = default;
};

// The reminders that are still to ring after a moment, the earliest first: of the tasks that aren't done and have both
// a due day and a time that are in the calendar.
std::vector<Reminder> upcomingReminders(const std::vector<TaskItem>& tasks, Timestamp after, const Calendar& calendar);

}  // namespace vesk
