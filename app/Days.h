#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Calendar.h"
#include "core/base/Time.h"

// Days, times and durations as the user types and reads them.
namespace vesk::app {

Day today();  // in the system's time zone

// "YYYY-MM-DD", "today" or "tomorrow"; nullopt for anything else.
std::optional<Day> typedDay(std::string_view typed);

Day daysAfter(Day day, int count);

bool isWeekend(Day day);

std::string longDay(Day day);   // "Monday 23 November 2026"
std::string shortDay(Day day);  // "Mon 23 Nov"

// "2026-11-23 14:05"; "" for distantPast.
std::string shownTime(Timestamp moment, const Calendar& calendar);

// Minutes as they are read, "5 h 30 min", and as they are typed for a task, "5h30".
std::string longDuration(std::int64_t minutes);
std::string shortDuration(std::int64_t minutes);

}  // namespace vesk::app
