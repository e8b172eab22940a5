#include "core/base/Calendar.h"

#include <chrono>
#include <cstdint>
#include <mutex>

#include <fmt/format.h>
#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "core/base/Error.h"
#include "core/base/Icu.h"

namespace vesk {

namespace {

using std::chrono::days;
using std::chrono::local_days;
using std::chrono::local_seconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::sys_seconds;

// ICU counts in milliseconds, too.
UDate icuDate(seconds sinceEpoch) { return static_cast<UDate>(milliseconds(sinceEpoch).count()); }

seconds offset(std::int32_t raw, std::int32_t daylightSaving) {
  return std::chrono::floor<seconds>(milliseconds(raw) + milliseconds(daylightSaving));
}

// Nullptr for the zone that ICU returns where it knows none.
std::unique_ptr<icu::TimeZone> known(std::unique_ptr<icu::TimeZone> zone) {
  icu::UnicodeString id;
  if (!zone || zone->getID(id) == icu::UnicodeString(UCAL_UNKNOWN_ZONE_ID)) return nullptr;
  return zone;
}

std::unique_ptr<icu::TimeZone> zoneNamed(std::string_view name) {
  return known(std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name))));
}

std::unique_ptr<icu::TimeZone> zoneOfSystem() {
  static std::mutex mutex;  // ICU keeps what it finds in a buffer of its own
  const std::lock_guard lock(mutex);
  return known(std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone()));
}

}  // namespace

struct Calendar::Zone {
  explicit Zone(std::unique_ptr<icu::TimeZone> owned)
      : icuZone(std::move(owned)), rules(dynamic_cast<const icu::BasicTimeZone&>(*icuZone)) {}

  local_seconds local(Timestamp moment) const {
    const auto sinceEpoch = std::chrono::floor<seconds>(moment).time_since_epoch();
    std::int32_t raw = 0;
    std::int32_t daylightSaving = 0;
    UErrorCode status = U_ZERO_ERROR;
    icuZone->getOffset(icuDate(sinceEpoch), false, raw, daylightSaving, status);
    icuCalls::require(status);
    return local_seconds(sinceEpoch + offset(raw, daylightSaving));
  }

  sys_seconds universal(local_seconds local) const {
    std::int32_t raw = 0;
    std::int32_t daylightSaving = 0;
    UErrorCode status = U_ZERO_ERROR;
    // The offset before the clocks change gives the first of two times, and moves a skipped one by the gap.
    rules.getOffsetFromLocal(icuDate(local.time_since_epoch()), UCAL_TZ_LOCAL_FORMER, UCAL_TZ_LOCAL_FORMER, raw,
                             daylightSaving, status);
    icuCalls::require(status);
    return sys_seconds(local.time_since_epoch() - offset(raw, daylightSaving));
  }

  std::unique_ptr<const icu::TimeZone> icuZone;
  const icu::BasicTimeZone& rules;  // the same: every zone that ICU makes is one
};

Calendar::Calendar(std::string_view zone) {
  std::unique_ptr<icu::TimeZone> found = zoneNamed(zone);
  if (!found) throw Error(fmt::format("There is no time zone named \"{}\".", zone));
  zone_ = std::make_shared<const Zone>(std::move(found));
}

Calendar Calendar::ofSystem() {
  std::unique_ptr<icu::TimeZone> found = zoneOfSystem();
  if (!found) return Calendar("Etc/UTC");
  return Calendar(std::make_shared<const Zone>(std::move(found)));
}

Day Calendar::day(Timestamp moment) const { return Day(std::chrono::floor<days>(zone_->local(moment))); }

TimeOfDay Calendar::time(Timestamp moment) const {
  const local_seconds local = zone_->local(moment);
  const std::chrono::hh_mm_ss clock(local - std::chrono::floor<days>(local));
  return {static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count())};
}

Timestamp Calendar::moment(Day day, TimeOfDay time) const {
  return time::nearest(
      zone_->universal(local_days(day) + std::chrono::hours(time.hour) + std::chrono::minutes(time.minute)));
}

std::string Calendar::zone() const {
  icu::UnicodeString id;
  std::string name;
  zone_->icuZone->getID(id).toUTF8String(name);
  return name;
}

}  // namespace vesk
