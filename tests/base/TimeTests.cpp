#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/base/Time.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;

constexpr Timestamp launch = sys_days(2026y / 11 / 21) + 10h + 19min + 29s;

TEST(Time, ReadsWhatItWrites) {
  const std::pair<Timestamp, const char*> cases[] = {
      {launch, "2026-11-21T10:19:29Z"},
      {sys_days(1969y / 12 / 31) + 23h + 59min + 59s, "1969-12-31T23:59:59Z"},
      {sys_days(2000y / 2 / 29), "2000-02-29T00:00:00Z"},
      {distantPast, "0001-01-01T00:00:00Z"},
  };
  for (const auto& [moment, text] : cases) {
    EXPECT_EQ(time::iso8601(moment), text);
    EXPECT_EQ(time::parseIso8601(text), moment) << text;
  }
  EXPECT_EQ(time::iso8601(launch + 999ms), "2026-11-21T10:19:29Z");
  EXPECT_EQ(time::iso8601(Timestamp(-1ns)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(time::iso8601(Timestamp::min() + 1ns), "1677-09-21T00:12:43Z");
  EXPECT_EQ(time::iso8601(Timestamp::max()), "2262-04-11T23:47:16Z");
}

TEST(Time, ReadsFractionsAndTheNearestMomentItCanHold) {
  const std::pair<const char*, Timestamp> cases[] = {
      {"2026-11-21T10:19:29.5Z", launch + 500ms},
      {"2026-11-21T10:19:29.123456789999999999999Z", launch + 123456789ns},
      {"1969-12-31T23:59:59.75Z", Timestamp(-250ms)},
      {"1500-06-15T12:00:00Z", Timestamp::min()},
      {"1677-09-21T00:12:43.9Z", Timestamp::min()},
      {"2262-04-11T23:47:16.999Z", Timestamp::max()},
      {"9999-12-31T23:59:59.9Z", Timestamp::max()},
  };
  for (const auto& [text, moment] : cases) EXPECT_EQ(time::parseIso8601(text), moment) << text;
}

TEST(Time, RefusesEverythingElse) {
  const std::string_view texts =
      "|Z|2026-11-21|2026-11-21T10:19:29|2026-11-21T10:19Z|2026-11-21 10:19:29Z|2026-11-21T10:19:29z|"
      "2026-11-21T10:19:29+00:00| 2026-11-21T10:19:29Z|2026-11-21T10:19:29Z |2026-11-21T10:19:29.Z|"
      "2026-11-21T10:19:29,5Z|2026-11-21T10:19:29.-5Z|2026-11-21T10:19:29.5.5Z|+026-11-21T10:19:29Z|"
      "12026-11-21T10:19:29Z|0000-01-01T00:00:00Z|2026-13-21T10:19:29Z|2026-11-00T10:19:29Z|"
      "2026-11-31T10:19:29Z|2100-02-29T10:19:29Z|2026-11-21T24:00:00Z|2026-11-21T10:60:29Z|"
      "2026-11-21T10:19:60Z|２026-11-21T10:19:29Z";
  for (const std::string_view text : text::split(texts, '|')) EXPECT_EQ(time::parseIso8601(text), std::nullopt) << text;
}

TEST(Time, ReadsDaysAndTimesOfDayAsItWritesThem) {
  for (const char* day : {"0001-01-01", "2024-02-29", "9999-12-31"}) EXPECT_EQ(time::isoDay(*time::parseDay(day)), day);
  const std::string_view noDays =
      "|2026-11-2|2026-11-211| 2026-11-21|2026/11/21|0000-01-01|2026-00-01|2026-13-01|2026-01-00|2026-02-29|"
      "-026-11-21|2026-+1-21|\u0662\u0660\u0662\u0666-11-21";
  for (const std::string_view text : text::split(noDays, '|')) EXPECT_EQ(time::parseDay(text), std::nullopt) << text;

  for (const char* time : {"00:00", "09:05", "23:59"}) EXPECT_EQ(time::text(*time::parseTimeOfDay(time)), time);
  for (const char* text : {"", "9:05", "09:055", "24:00", "23:60", "09.05", "09:05 ", "-9:05", "\u0660\u0669:05"})
    EXPECT_EQ(time::parseTimeOfDay(text), std::nullopt) << text;
}

}  // namespace
}  // namespace vesk
