#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/tasks/TaskTally.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

enum class ProjectStatus { active, stalled, done };

// As screens show it: "Active".
std::string_view name(ProjectStatus status);

// A project, an area or another folder directly in one of the vault's places.
struct CollectionSummary {
  FolderNode folder = {};
  std::optional<Timestamp> lastActivity = {};  // when one of its notes was edited last; nullopt without a note
  std::size_t openTaskCount = 0;
  std::size_t doneTasks = 0;

  std::size_t noteCount() const { return folder.noteCount(); }
  std::size_t totalTasks() const { return openTaskCount + doneTasks; }

  // The titles of the open tasks, read from the notes' bodies.
  std::vector<std::string> openTasks() const;

  // The days of the calendar from the last activity to now; 0 when that lies ahead. Nullopt without any.
  std::optional<int> daysQuiet(Timestamp now, const Calendar& calendar) const;

  // Done with tasks of which none is open; else stalled without activity, or with none for stalledAfterDays.
  ProjectStatus status(Timestamp now, const Calendar& calendar) const;
};

// The number of notes made on one day.
struct DayCount {
  Day day = {};
  std::size_t count = 0;
  bool operator==(const DayCount&) const = default;
};

// How the vault's projects and areas are doing. Days are those of the given calendar. The tally is the snapshot's;
// where none is given the snapshot holds the notes' bodies.
namespace Insights {

inline constexpr int stalledAfterDays = 14;
inline constexpr int untouchedAfterDays = 30;

// The collections of a role, in the order of the tree, each with the notes of all folders below. Its tasks are those
// with a text, but for what is in saved chats: they quote other people's lists.
std::vector<CollectionSummary> collections(Bucket role, const VaultSnapshot& snapshot);
std::vector<CollectionSummary> collections(Bucket role, const VaultSnapshot& snapshot, const TaskTally& tasks);

// The projects that are stalled and hold a note, the most quiet first.
std::vector<CollectionSummary> stalledProjects(const VaultSnapshot& snapshot, Timestamp now, const Calendar& calendar);
std::vector<CollectionSummary> stalledProjects(const VaultSnapshot& snapshot, const TaskTally& tasks, Timestamp now,
                                               const Calendar& calendar);

// The areas that have been quiet for untouchedAfterDays, the most quiet first.
std::vector<CollectionSummary> untouchedAreas(const VaultSnapshot& snapshot, Timestamp now, const Calendar& calendar);
std::vector<CollectionSummary> untouchedAreas(const VaultSnapshot& snapshot, const TaskTally& tasks, Timestamp now,
                                              const Calendar& calendar);

// The notes made on each of the last `days` days, today being the last. Notes whose date is unknown or lies ahead of
// today count on none.
std::vector<DayCount> savedPerDay(const VaultSnapshot& snapshot, int days, Timestamp now, const Calendar& calendar);

// The day of the weekly review: that of `moment` when it is a Sunday, else the next Sunday.
Day nextReview(Timestamp moment, const Calendar& calendar);

}  // namespace Insights

}  // namespace vesk
