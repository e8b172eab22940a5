#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Time.h"

namespace vesk::app {

// The hours of a day that tasks are planned in.
struct WorkHours {
  TimeOfDay begin = {.hour = 9};
  TimeOfDay end = {.hour = 17};

  int minutes() const;

  bool operator==(const WorkHours&) const = default;
};

// "09:00-17:00", and back; nullopt for anything else, and when the end is not after the beginning.
std::string text(const WorkHours& hours);
std::optional<WorkHours> workHours(std::string_view text);

// How the user wants days to be planned: "planner.json" in the support directory.
struct PlannerSettings {
  static constexpr std::string_view fileName = "planner.json";

  WorkHours hours = {};
  bool hidesWeekends = false;

  // The minutes that can be planned on a day: none on one that is hidden.
  int minutes(Day day) const { return hides(day) ? 0 : hours.minutes(); }
  bool hides(Day day) const;

  // Never fails: what is missing or unreadable has its default.
  static PlannerSettings load(const std::string& directory);

  // Writes the whole file atomically, keeping the keys that Vesk does not know. Whoever changes what was loaded holds
  // the directory's FileLock from load to save.
  void save(const std::string& directory) const;

  bool operator==(const PlannerSettings&) const = default;
};

}  // namespace vesk::app
