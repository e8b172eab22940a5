#include "app/Days.h"

#include <array>
#include <chrono>

#include <fmt/format.h>

namespace vesk::app {

namespace {

constexpr std::array<std::string_view, 7> weekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                      "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> months = {"January",   "February", "March",    "April",
                                                     "May",       "June",     "July",     "August",
                                                     "September", "October",  "November", "December"};

unsigned weekdayOf(Day day) { return std::chrono::weekday(std::chrono::sys_days(day)).c_encoding(); }

std::string_view monthOf(Day day) { return months[static_cast<unsigned>(day.month()) - 1]; }

}  // namespace

Day today() { return Calendar::ofSystem().day(std::chrono::system_clock::now()); }

std::optional<Day> typedDay(std::string_view typed) {
  if (typed == "today") return today();
  if (typed == "tomorrow") return daysAfter(today(), 1);
  return time::parseDay(typed);
}

Day daysAfter(Day day, int count) { return std::chrono::sys_days(day) + std::chrono::days(count); }

bool isWeekend(Day day) { return weekdayOf(day) == 0 || weekdayOf(day) == 6; }

std::string longDay(Day day) {
  return fmt::format("{} {} {} {}", weekdays[weekdayOf(day)], static_cast<unsigned>(day.day()), monthOf(day),
                     static_cast<int>(day.year()));
}

std::string shortDay(Day day) {
  constexpr std::size_t shortName = 3;
  return fmt::format("{} {:2} {}", weekdays[weekdayOf(day)].substr(0, shortName), static_cast<unsigned>(day.day()),
                     monthOf(day).substr(0, shortName));
}

std::string shownTime(Timestamp moment, const Calendar& calendar) {
  if (moment == distantPast) return "";
  return fmt::format("{} {}", time::isoDay(calendar.day(moment)), time::text(calendar.time(moment)));
}

std::string longDuration(std::int64_t minutes) {
  const std::int64_t hours = minutes / 60;
  if (hours == 0) return fmt::format("{} min", minutes);
  return minutes % 60 == 0 ? fmt::format("{} h", hours) : fmt::format("{} h {} min", hours, minutes % 60);
}

std::string shortDuration(std::int64_t minutes) {
  const std::int64_t hours = minutes / 60;
  if (hours == 0) return fmt::format("{}m", minutes);
  return minutes % 60 == 0 ? fmt::format("{}h", hours) : fmt::format("{}h{}", hours, minutes % 60);
}

}  // namespace vesk::app
