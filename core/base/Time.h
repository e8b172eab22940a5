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

namespace time {

// ISO 8601 in UTC with whole seconds ("2026-11-21T10:19:29Z"); fractions are cut off. distantPast is written as
// "0001-01-01T00:00:00Z", and reads back as itself.
std::string iso8601(Timestamp moment);

// Reads what iso8601 writes, and a fraction of a second before the "Z" (nanoseconds count, finer digits are cut off);
// nullopt for anything else. Years 0001 to 9999; of what a Timestamp cannot hold, the nearest that it can.
std::optional<Timestamp> parseIso8601(std::string_view text);

// "YYYY-MM-DD".
std::string isoDay(std::chrono::year_month_day day);

}  // namespace time

}  // namespace vesk
