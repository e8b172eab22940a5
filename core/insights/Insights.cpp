#include "core/insights/Insights.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "core/insights/Collections.h"
#include "core/platform/Parallel.h"
#include "core/tasks/TaskItem.h"

namespace vesk {

namespace {

using std::chrono::days;
using std::chrono::sys_days;

// What a note adds to its collection.
struct NoteTasks {
  std::vector<std::string> open = {};
  std::size_t done = 0;
};

NoteTasks tasksOf(const Note& note) {
  NoteTasks found;
  if (std::ranges::count(note.tags, chatTag) > 0) return found;
  for (TaskItem& task : note.tasks()) {
    if (task.text.empty()) continue;
    if (task.status == TaskStatus::done) {
      ++found.done;
    } else {
      found.open.push_back(std::move(task.title));
    }
  }
  return found;
}

CollectionSummary summaryOf(const FolderNode& folder) {
  CollectionSummary summary{.folder = folder};
  const auto notes = folder.allNotes();
  std::vector<NoteTasks> tasks(notes.size());
  inParallel(notes.size(), [&](std::size_t i) { tasks[i] = tasksOf(*notes[i]); });
  for (std::size_t i = 0; i < notes.size(); ++i) {
    summary.lastActivity = std::max(summary.lastActivity.value_or(distantPast), notes[i]->modified);
    std::ranges::move(tasks[i].open, std::back_inserter(summary.openTasks));
    summary.doneTasks += tasks[i].done;
  }
  return summary;
}

// The collections that are wanted, the most quiet first.
template <typename IsWanted>
std::vector<CollectionSummary> quietest(Bucket role, const VaultSnapshot& snapshot, IsWanted isWanted) {
  std::vector<CollectionSummary> found = Insights::collections(role, snapshot);
  std::erase_if(found, [&](const CollectionSummary& summary) { return !isWanted(summary); });
  std::stable_sort(found.begin(), found.end(), [](const CollectionSummary& a, const CollectionSummary& b) {
    return a.lastActivity < b.lastActivity;
  });
  return found;
}

}  // namespace

std::string_view name(ProjectStatus status) {
  constexpr std::array<std::string_view, 3> names = {"Active", "Stalled", "Done"};
  return names[static_cast<std::size_t>(status)];
}

std::optional<int> CollectionSummary::daysQuiet(Timestamp now, const Calendar& calendar) const {
  if (!lastActivity) return std::nullopt;
  const days quiet = sys_days(calendar.day(now)) - sys_days(calendar.day(*lastActivity));
  return std::max(0, static_cast<int>(quiet.count()));
}

ProjectStatus CollectionSummary::status(Timestamp now, const Calendar& calendar) const {
  if (totalTasks() > 0 && openTasks.empty()) return ProjectStatus::done;
  const auto quiet = daysQuiet(now, calendar);
  return quiet && *quiet < Insights::stalledAfterDays ? ProjectStatus::active : ProjectStatus::stalled;
}

std::vector<CollectionSummary> Insights::collections(Bucket role, const VaultSnapshot& snapshot) {
  std::vector<CollectionSummary> summaries;
  for (const FolderNode* folder : collectionFolders(snapshot, role)) summaries.push_back(summaryOf(*folder));
  return summaries;
}

std::vector<CollectionSummary> Insights::stalledProjects(const VaultSnapshot& snapshot, Timestamp now,
                                                         const Calendar& calendar) {
  return quietest(Bucket::projects, snapshot, [&](const CollectionSummary& summary) {
    return summary.lastActivity && summary.status(now, calendar) == ProjectStatus::stalled;
  });
}

std::vector<CollectionSummary> Insights::untouchedAreas(const VaultSnapshot& snapshot, Timestamp now,
                                                        const Calendar& calendar) {
  return quietest(Bucket::areas, snapshot, [&](const CollectionSummary& summary) {
    return summary.daysQuiet(now, calendar).value_or(0) >= untouchedAfterDays;
  });
}

std::vector<DayCount> Insights::savedPerDay(const VaultSnapshot& snapshot, int days, Timestamp now,
                                            const Calendar& calendar) {
  const sys_days today = calendar.day(now);
  const sys_days first = today - std::chrono::days(days - 1);
  std::vector<DayCount> counts;
  for (sys_days day = first; day <= today; day += std::chrono::days(1)) counts.push_back({day, 0});
  for (const NoteRef& note : snapshot.notes) {
    // No zone is a day away from UTC: most notes need no look at the calendar.
    const auto inUtc = std::chrono::floor<std::chrono::days>(note->created);
    if (inUtc < first - std::chrono::days(1) || inUtc > today + std::chrono::days(1)) continue;
    const sys_days day = calendar.day(note->created);
    if (day >= first && day <= today) ++counts[static_cast<std::size_t>((day - first).count())].count;
  }
  return counts;
}

Day Insights::nextReview(Timestamp moment, const Calendar& calendar) {
  const sys_days day = calendar.day(moment);
  return day + (std::chrono::Sunday - std::chrono::weekday(day));
}

}  // namespace vesk
