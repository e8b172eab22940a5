#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/Ascii.h"
#include "core/mail/MIME.h"
#include "core/mail/MailHeader.h"

namespace vesk::MIME {

namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// No date is longer, comments and folding included.
constexpr std::size_t longestDate = 1000;

constexpr std::string_view months = "janfebmaraprmayjunjulaugsepoctnovdec";

// RFC 5322, 4.3. Of any other name the zone isn't known: it counts as UTC.
constexpr std::pair<std::string_view, int> zones[] = {{"est", -5}, {"edt", -4}, {"cst", -6}, {"cdt", -5},
                                                      {"mst", -7}, {"mdt", -6}, {"pst", -8}, {"pdt", -7}};

bool isLetter(char c) { return c >= 'a' && c <= 'z'; }

// Of few digits only.
int number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) value = 10 * value + (digit - '0');
  return value;
}

std::optional<minutes> zoneNamed(std::string_view name) {
  if (name.empty()) return std::nullopt;
  for (const auto& [known, offset] : zones)
    if (known == name) return hours(offset);
  return minutes(0);
}

// Reads a date from its start to its end.
class DateReader {
 public:
  // Of a text that outlives it.
  explicit DateReader(std::string_view text) : rest_(text) {}

  std::optional<Timestamp> read() {
    if (!takeWord().empty()) take(',');  // the day of the week, which may be wrong
    const auto day = takeNumber(31);
    take('-');
    const std::string_view month = takeWord();
    take('-');
    const auto year = takeYear();
    const auto clock = takeClock();
    const auto zone = takeZone();
    const std::size_t place = month.size() < 3 ? months.npos : months.find(month.substr(0, 3));
    if (!day || !year || !clock || !zone || place == months.npos || place % 3 != 0) return std::nullopt;
    const Day date{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(place / 3 + 1)),
                   std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) return std::nullopt;
    return time::nearest(std::chrono::sys_days(date) + *clock - *zone);
  }

 private:
  void skipSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

  bool take(char wanted) {
    skipSpace();
    if (!rest_.starts_with(wanted)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  template <typename Predicate>
  std::string_view takeWhile(Predicate holds) {
    skipSpace();
    std::size_t length = 0;
    while (length < rest_.size() && holds(rest_[length])) ++length;
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view takeWord() { return takeWhile(isLetter); }

  std::string_view takeDigits() { return takeWhile(ascii::isDigit); }

  // Of one digit or two.
  std::optional<int> takeNumber(int most) {
    const std::string_view digits = takeDigits();
    if (digits.empty() || digits.size() > 2 || number(digits) > most) return std::nullopt;
    return number(digits);
  }

  // With two or three digits as RFC 5322 has it.
  std::optional<int> takeYear() {
    const std::string_view digits = takeDigits();
    const int year = number(digits.substr(0, 4));
    if (digits.size() == 2) return year < 50 ? 2000 + year : 1900 + year;
    if (digits.size() == 3) return 1900 + year;
    if (digits.size() != 4 || year < 1900) return std::nullopt;
    return year;
  }

  // "9:30" or "09:30:00".
  std::optional<seconds> takeClock() {
    const auto hour = takeNumber(23);
    const auto minute = take(':') ? takeNumber(59) : std::nullopt;
    const auto second = take(':') ? takeNumber(60) : 0;  // 60 is a leap second
    if (!hour || !minute || !second) return std::nullopt;
    return hours(*hour) + minutes(*minute) + seconds(*second);
  }

  // What is to be taken off for UTC: "+0200", "+02:00", "GMT+2", "EST".
  std::optional<minutes> takeZone() {
    const std::string_view name = takeWord();
    const bool isWest = rest_.starts_with('-');
    if (!isWest && !rest_.starts_with('+')) return zoneNamed(name);
    rest_.remove_prefix(1);
    std::string_view digits = takeDigits();
    const std::string_view hour = digits.substr(0, 2);
    digits.remove_prefix(hour.size());
    if (take(':')) digits = takeDigits();
    const bool isWhole = !hour.empty() && (digits.empty() || digits.size() == 2);
    if (!isWhole || number(hour) > 23 || number(digits) > 59) return std::nullopt;
    const minutes offset = hours(number(hour)) + minutes(number(digits));
    return isWest ? -offset : offset;
  }

  std::string_view rest_;
};

}  // namespace

std::optional<Timestamp> date(std::string_view header) {
  std::string text = withoutComments(header.substr(0, longestDate));
  std::transform(text.begin(), text.end(), text.begin(), ascii::lower);
  return DateReader(text).read();
}

}  // namespace vesk::MIME
