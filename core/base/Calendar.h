#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/Time.h"

namespace vesk {

// The days and the clock of one time zone. Cheap to copy; one may be asked by several threads at once.
class Calendar {
 public:
  // Of the time zone with this name in the IANA database ("Europe/Lisbon"). Throws Error when there is none.
  explicit Calendar(std::string_view zone);

  // Of the zone that the system is set to at the time of the call; UTC where that can't be told.
  static Calendar ofSystem();

  Day day(Timestamp moment) const;

  // In whole minutes: what goes beyond is cut off.
  TimeOfDay time(Timestamp moment) const;

  // When a day (of the calendar) has come to a time: the first time, where clocks are put back; the gap later, where
  // they are put forward over it. Of what a Timestamp cannot hold, the nearest that it can.
  Timestamp moment(Day day, TimeOfDay time) const;

  std::string zone() const;

 private:
  struct Zone;
  explicit Calendar(std::shared_ptr<const Zone> zone) : zone_(std::move(zone)) {}

  std::shared_ptr<const Zone> zone_;
};

}  // namespace vesk
