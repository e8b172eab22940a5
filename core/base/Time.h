#pragma once

#include <chrono>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

// A moment, in UTC: from September 1677 to April 2262.
using Timestamp = std::chrono::sys_time<std::chrono::nanoseconds>;

// Earlier than any date a file carries; what a file without a date has.
inline constexpr Timestamp distantPast = Timestamp::min();

// A day of the calendar, in no particular time zone.
using Day = std::chrono::year_month_day;

// What a clock on the wall shows: from 0:00 to 23:59.
struct TimeOfDay {
  int hour = 0;
  int minute = 0;

  auto operator<=>(const TimeOfDay&) const = default;
};

namespace time {

// ISO 8601 in UTC with whole seconds ("2026-11-21T10:19:29Z"); fractions are cut off. distantPast is written as
// "0001-01-01T00:00:00Z", and reads back as itself.
std::string iso8601(Timestamp moment);

// Reads what iso8601 writes, and a fraction of a second before the "Z" (nanoseconds count, finer digits are cut off);
// nullopt for anything else. Years 0001 to 9999; of what a Timestamp cannot hold, the nearest that it can.
std::optional<Timestamp> parseIso8601(std::string_view text);

// The moment, or the nearest one that a Timestamp can hold.
Timestamp nearest(std::chrono::sys_seconds second, std::chrono::nanoseconds fraction = {});

// "YYYY-MM-DD".
std::string isoDay(Day day);

// Reads "YYYY-MM-DD", in ASCII digits; nullopt for anything else, and for what is no day of the years 0001 to 9999.
std::optional<Day> parseDay(std::string_view text);

// "HH:MM".
std::string text(TimeOfDay time);

// Reads "HH:MM", from "00:00" to "23:59" in ASCII digits; nullopt for anything else.
std::optional<TimeOfDay> parseTimeOfDay(std::string_view text);

}  // namespace time

}  // namespace vesk
