#include <chrono>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "core/base/Time.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;

constexpr Timestamp launch = sys_days(2026y / 11 / 21) + 10h + 19min + 29s;

TEST(Time, ReadsWhatItWrites) {
  struct Case {
    Timestamp moment;
    const char* text;
  };
  const Case cases[] = {
      {launch, "2026-11-21T10:19:29Z"},
      {Timestamp(), "1970-01-01T00:00:00Z"},
      {sys_days(1969y / 12 / 31) + 23h + 59min + 59s, "1969-12-31T23:59:59Z"},
      {sys_days(2024y / 2 / 29), "2024-02-29T00:00:00Z"},
      {sys_days(2000y / 2 / 29), "2000-02-29T00:00:00Z"},
      {sys_days(2262y / 4 / 11), "2262-04-11T00:00:00Z"},
      {distantPast, "0001-01-01T00:00:00Z"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(time::iso8601(c.moment), c.text);
    EXPECT_EQ(time::parseIso8601(c.text), c.moment) << c.text;
  }
}

TEST(Time, CutsFractionsOffWhenWriting) {
  EXPECT_EQ(time::iso8601(launch + 999ms), "2026-11-21T10:19:29Z");
  EXPECT_EQ(time::iso8601(Timestamp(-1ns)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(time::iso8601(Timestamp::min() + 1ns), "1677-09-21T00:12:43Z");
  EXPECT_EQ(time::iso8601(Timestamp::max()), "2262-04-11T23:47:16Z");
}

TEST(Time, ReadsFractions) {
  EXPECT_EQ(time::parseIso8601("2026-11-21T10:19:29.5Z"), launch + 500ms);
  EXPECT_EQ(time::parseIso8601("2026-11-21T10:19:29.000000001Z"), launch + 1ns);
  EXPECT_EQ(time::parseIso8601("2026-11-21T10:19:29.123456789999999999999Z"), launch + 123456789ns);
  EXPECT_EQ(time::parseIso8601("1969-12-31T23:59:59.75Z"), Timestamp(-250ms));
}

TEST(Time, TakesTheNearestMomentItCanHold) {
  EXPECT_EQ(time::parseIso8601("1500-06-15T12:00:00Z"), Timestamp::min());
  EXPECT_EQ(time::parseIso8601("1677-09-21T00:12:43.9Z"), Timestamp::min());
  EXPECT_EQ(time::parseIso8601("2262-04-11T23:47:16.999Z"), Timestamp::max());
  EXPECT_EQ(time::parseIso8601("9999-12-31T23:59:59.9Z"), Timestamp::max());
}

TEST(Time, RefusesEverythingElse) {
  for (const char* text : {
           "",
           "Z",
           "2026-11-21",
           "2026-11-21T10:19:29",
           "2026-11-21T10:19Z",
           "2026-11-21 10:19:29Z",
           "2026-11-21T10:19:29z",
           "2026-11-21T10:19:29+00:00",
           " 2026-11-21T10:19:29Z",
           "2026-11-21T10:19:29Z ",
           "2026-11-21T10:19:29.Z",
           "2026-11-21T10:19:29,5Z",
           "2026-11-21T10:19:29.-5Z",
           "2026-11-21T10:19:29.5.5Z",
           "+026-11-21T10:19:29Z",
           "12026-11-21T10:19:29Z",
           "0000-01-01T00:00:00Z",
           "2026-00-21T10:19:29Z",
           "2026-13-21T10:19:29Z",
           "2026-11-00T10:19:29Z",
           "2026-11-31T10:19:29Z",
           "2026-02-29T10:19:29Z",
           "2100-02-29T10:19:29Z",
           "2026-11-21T24:00:00Z",
           "2026-11-21T10:60:29Z",
           "2026-11-21T10:19:60Z",
           "２026-11-21T10:19:29Z",
       }) {
    EXPECT_EQ(time::parseIso8601(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vesk
