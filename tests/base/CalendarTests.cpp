#include <chrono>
#include <string_view>

#include <gtest/gtest.h>

#include "core/base/Calendar.h"
#include "core/base/Error.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;

TEST(Calendar, TurnsTimesIntoMomentsAndBack) {
  struct Case {
    std::string_view zone, day, time, moment, shown;
  };
  const Case cases[] = {
      {"Asia/Kathmandu", "2026-01-01", "00:15", "2025-12-31T18:30:00Z", "00:15"},
      {"America/New_York", "1969-12-31", "23:00", "1970-01-01T04:00:00Z", "23:00"},
      {"Europe/Lisbon", "1880-02-29", "12:00", "1880-02-29T12:36:45Z", "12:00"},
      // Clocks are put forward: a time that is skipped comes later by the gap.
      {"America/New_York", "2026-03-08", "01:59", "2026-03-08T06:59:00Z", "01:59"},
      {"America/New_York", "2026-03-08", "02:30", "2026-03-08T07:30:00Z", "03:30"},
      {"Asia/Beirut", "2021-03-28", "00:00", "2021-03-27T22:00:00Z", "01:00"},
      // Clocks are put back: of two times, the first.
      {"Europe/Lisbon", "2026-10-25", "01:30", "2026-10-25T00:30:00Z", "01:30"},
      {"Europe/Lisbon", "2026-10-25", "02:00", "2026-10-25T02:00:00Z", "02:00"},
      {"Australia/Lord_Howe", "2026-04-05", "01:45", "2026-04-04T14:45:00Z", "01:45"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.moment);
    const Calendar calendar(c.zone);
    const Timestamp moment = time::parseIso8601(c.moment).value();
    EXPECT_EQ(calendar.zone(), c.zone);
    EXPECT_EQ(calendar.moment(time::parseDay(c.day).value(), time::parseTimeOfDay(c.time).value()), moment);
    EXPECT_EQ(time::isoDay(calendar.day(moment)), c.day);
    EXPECT_EQ(time::text(calendar.time(moment + 59'999'999'999ns)), c.shown);
  }
}

TEST(Calendar, HasAnAnswerForEveryMomentAndDay) {
  for (const std::string_view zone : {"Pacific/Kiritimati", "Etc/UTC", "Pacific/Pago_Pago"}) {
    const Calendar calendar(zone);
    for (const Timestamp moment : {Timestamp::min(), Timestamp::max()}) {
      const Timestamp again = calendar.moment(calendar.day(moment), calendar.time(moment));
      EXPECT_LT(std::chrono::abs(moment - again), 2min) << zone;
    }
    EXPECT_EQ(calendar.moment(9999y / 12 / 31, {23, 59}), Timestamp::max());
    EXPECT_EQ(calendar.moment(1y / 1 / 1, {}), Timestamp::min());
  }
  for (const std::string_view zone : {""sv, "Europe"sv, "Europe/Lisboa"sv, "Etc/Unknown"sv, "Europe/Lisbon\0"sv}) {
    EXPECT_THROW(Calendar{zone}, Error) << zone;
  }
  EXPECT_FALSE(Calendar::ofSystem().zone().empty());
}

}  // namespace
}  // namespace vesk
