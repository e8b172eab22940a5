#include "core/base/Time.h"

#include <algorithm>

#include <fmt/format.h>

namespace vesk::time {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

constexpr std::string_view distantPastText = "0001-01-01T00:00:00Z";
constexpr std::string_view momentShape = "dddd-dd-ddTdd:dd:dd";  // a d stands for a digit
constexpr std::string_view dayShape = momentShape.substr(0, 10);
constexpr std::string_view timeOfDayShape = momentShape.substr(11, 5);

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool hasShape(std::string_view text, std::string_view shape) {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                    [](char c, char expected) { return expected == 'd' ? isDigit(c) : c == expected; });
}

// Of digits only.
int number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) value = 10 * value + (digit - '0');
  return value;
}

// Of text that has the shape of a moment. Nullopt when there is no such day or no such time of day.
std::optional<sys_seconds> wholeSeconds(std::string_view text) {
  const std::optional<Day> day = parseDay(text.substr(0, dayShape.size()));
  const std::optional<TimeOfDay> clock = parseTimeOfDay(text.substr(dayShape.size() + 1, timeOfDayShape.size()));
  const int second = number(text.substr(momentShape.size() - 2, 2));
  if (!day || !clock || second > 59) return std::nullopt;
  return sys_days(*day) + std::chrono::hours(clock->hour) + std::chrono::minutes(clock->minute) + seconds(second);
}

// Of "" or "." with at least one digit after it; nullopt for anything else.
std::optional<nanoseconds> fraction(std::string_view text) {
  if (text.empty()) return nanoseconds(0);
  const std::string_view digits = text.substr(1);
  if (text[0] != '.' || digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) return std::nullopt;
  return nanoseconds(number(fmt::format("{:0<9}", digits.substr(0, 9))));
}

}  // namespace

std::string iso8601(Timestamp moment) {
  if (moment == distantPast) return std::string(distantPastText);
  const auto second = std::chrono::floor<seconds>(moment);
  const auto midnight = std::chrono::floor<std::chrono::days>(second);
  const Day day(midnight);
  const std::chrono::hh_mm_ss clock(second - midnight);
  return fmt::format("{}T{:02}:{:02}:{:02}Z", isoDay(day), clock.hours().count(), clock.minutes().count(),
                     clock.seconds().count());
}

std::optional<Timestamp> parseIso8601(std::string_view text) {
  if (text.size() <= momentShape.size() || text.back() != 'Z') return std::nullopt;
  if (!hasShape(text.substr(0, momentShape.size()), momentShape)) return std::nullopt;
  const std::optional<sys_seconds> second = wholeSeconds(text);
  const std::optional<nanoseconds> rest =
      fraction(text.substr(momentShape.size(), text.size() - momentShape.size() - 1));
  if (!second || !rest) return std::nullopt;
  return nearest(*second, *rest);
}

Timestamp nearest(sys_seconds second, nanoseconds fraction) {
  if (second <= std::chrono::floor<seconds>(Timestamp::min())) return Timestamp::min();
  if (second >= std::chrono::floor<seconds>(Timestamp::max())) return Timestamp::max();
  return second + fraction;
}

std::string isoDay(Day day) {
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                     static_cast<unsigned>(day.day()));
}

std::optional<Day> parseDay(std::string_view text) {
  if (!hasShape(text, dayShape)) return std::nullopt;
  const Day day{std::chrono::year(number(text.substr(0, 4))),
                std::chrono::month(static_cast<unsigned>(number(text.substr(5, 2)))),
                std::chrono::day(static_cast<unsigned>(number(text.substr(8, 2))))};
  if (!day.ok() || day.year() < std::chrono::year(1)) return std::nullopt;
  return day;
}

std::string text(TimeOfDay time) { return fmt::format("{:02}:{:02}", time.hour, time.minute); }

std::optional<TimeOfDay> parseTimeOfDay(std::string_view text) {
  if (!hasShape(text, timeOfDayShape)) return std::nullopt;
  const TimeOfDay time{number(text.substr(0, 2)), number(text.substr(3, 2))};
  if (time.hour > 23 || time.minute > 59) return std::nullopt;
  return time;
}

}  // namespace vesk::time
