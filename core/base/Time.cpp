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
constexpr std::string_view shape = "dddd-dd-ddTdd:dd:dd";  // a d stands for a digit

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool hasShape(std::string_view text) {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                    [](char c, char expected) { return expected == 'd' ? isDigit(c) : c == expected; });
}

// Of digits only.
int number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) value = 10 * value + (digit - '0');
  return value;
}

// Of text that has the shape. Nullopt when there is no such day or no such time of day.
std::optional<sys_seconds> wholeSeconds(std::string_view text) {
  const auto field = [&](std::size_t start, std::size_t length) { return number(text.substr(start, length)); };
  const auto unsignedField = [&](std::size_t start) { return static_cast<unsigned>(field(start, 2)); };
  const std::chrono::year_month_day day{std::chrono::year(field(0, 4)), std::chrono::month(unsignedField(5)),
                                        std::chrono::day(unsignedField(8))};
  const int hour = field(11, 2);
  const int minute = field(14, 2);
  const int second = field(17, 2);
  if (!day.ok() || day.year() < std::chrono::year(1) || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) + seconds(second);
}

// Of "" or "." with at least one digit after it; nullopt for anything else.
std::optional<nanoseconds> fraction(std::string_view text) {
  if (text.empty()) return nanoseconds(0);
  const std::string_view digits = text.substr(1);
  if (text[0] != '.' || digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) return std::nullopt;
  return nanoseconds(number(fmt::format("{:0<9}", digits.substr(0, 9))));
}

// The moment, or the nearest that a Timestamp can hold.
Timestamp clamped(sys_seconds second, nanoseconds fraction) {
  if (second <= std::chrono::floor<seconds>(Timestamp::min())) return Timestamp::min();
  if (second >= std::chrono::floor<seconds>(Timestamp::max())) return Timestamp::max();
  return second + fraction;
}

}  // namespace

std::string iso8601(Timestamp moment) {
  if (moment == distantPast) return std::string(distantPastText);
  const auto second = std::chrono::floor<seconds>(moment);
  const auto midnight = std::chrono::floor<std::chrono::days>(second);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss clock(second - midnight);
  return fmt::format("{}T{:02}:{:02}:{:02}Z", isoDay(day), clock.hours().count(), clock.minutes().count(),
                     clock.seconds().count());
}

std::optional<Timestamp> parseIso8601(std::string_view text) {
  if (text.size() <= shape.size() || text.back() != 'Z' || !hasShape(text.substr(0, shape.size()))) return std::nullopt;
  const std::optional<sys_seconds> second = wholeSeconds(text);
  const std::optional<nanoseconds> rest = fraction(text.substr(shape.size(), text.size() - shape.size() - 1));
  if (!second || !rest) return std::nullopt;
  return clamped(*second, *rest);
}

std::string isoDay(std::chrono::year_month_day day) {
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                     static_cast<unsigned>(day.day()));
}

}  // namespace vesk::time
