#include "core/insights/Insights.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "core/insights/Collections.h"

namespace vesk {

namespace {

using std::chrono::days;
using std::chrono::sys_days;

std::optional<Timestamp> lastActivityIn(const FolderNode& folder) {
  std::optional<Timestamp> last;
  for (const NoteRef& note : folder.notes) last = std::max(last, std::optional(note->modified));
  for (const FolderNode& child : folder.folders) last = std::max(last, lastActivityIn(child));
  return last;
}

void addTasks(const FolderNode& folder, const TaskTally& tasks, CollectionSummary& summary) {
  const TaskTally::Counts counts = tasks.in(folder.id);
  summary.openTaskCount += counts.open;
  summary.doneTasks += counts.done;
  for (const FolderNode& child : folder.folders) addTasks(child, tasks, summary);
}

CollectionSummary summaryOf(const FolderNode& folder, const TaskTally& tasks) {
  CollectionSummary summary{.folder = folder, .lastActivity = lastActivityIn(folder)};
  addTasks(folder, tasks, summary);
  return summary;
}

int daysBetween(Timestamp activity, Timestamp now, const Calendar& calendar) {
  const days quiet = sys_days(calendar.day(now)) - sys_days(calendar.day(activity));
  return std::max(0, static_cast<int>(quiet.count()));
}

// The collections that have been quiet for that many days, the most quiet first.
std::vector<CollectionSummary> quietest(Bucket role, int leastDays, const VaultSnapshot& snapshot,
                                        const TaskTally& tasks, Timestamp now, const Calendar& calendar) {
  std::vector<CollectionSummary> found;
  for (const FolderNode* folder : collectionFolders(snapshot, role)) {
    const auto last = lastActivityIn(*folder);
    if (last && daysBetween(*last, now, calendar) >= leastDays) found.push_back(summaryOf(*folder, tasks));
  }
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
  return daysBetween(*lastActivity, now, calendar);
}

ProjectStatus CollectionSummary::status(Timestamp now, const Calendar& calendar) const {
  if (totalTasks() > 0 && openTaskCount == 0) return ProjectStatus::done;
  const auto quiet = daysQuiet(now, calendar);
  return quiet && *quiet < Insights::stalledAfterDays ? ProjectStatus::active : ProjectStatus::stalled;
}

std::vector<std::string> CollectionSummary::openTasks() const {
  std::vector<std::string> titles;
  for (const NoteRef& note : folder.allNotes()) {
    if (std::ranges::count(note->tags, chatTag) > 0) continue;
    for (TaskItem& task : note->tasks())
      if (task.status != TaskStatus::done && !task.text.empty()) titles.push_back(std::move(task.title));
  }
  return titles;
}

std::vector<CollectionSummary> Insights::collections(Bucket role, const VaultSnapshot& snapshot) {
  return collections(role, snapshot, TaskTally(snapshot));
}

std::vector<CollectionSummary> Insights::collections(Bucket role, const VaultSnapshot& snapshot,
                                                     const TaskTally& tasks) {
  std::vector<CollectionSummary> summaries;
  for (const FolderNode* folder : collectionFolders(snapshot, role)) summaries.push_back(summaryOf(*folder, tasks));
  return summaries;
}

std::vector<CollectionSummary> Insights::stalledProjects(const VaultSnapshot& snapshot, Timestamp now,
                                                         const Calendar& calendar) {
  return stalledProjects(snapshot, TaskTally(snapshot), now, calendar);
}

std::vector<CollectionSummary> Insights::stalledProjects(const VaultSnapshot& snapshot, const TaskTally& tasks,
                                                         Timestamp now, const Calendar& calendar) {
  auto projects = quietest(Bucket::projects, stalledAfterDays, snapshot, tasks, now, calendar);
  std::erase_if(projects, [&](const auto& each) { return each.status(now, calendar) == ProjectStatus::done; });
  return projects;
}

std::vector<CollectionSummary> Insights::untouchedAreas(const VaultSnapshot& snapshot, Timestamp now,
                                                        const Calendar& calendar) {
  return untouchedAreas(snapshot, TaskTally(snapshot), now, calendar);
}

std::vector<CollectionSummary> Insights::untouchedAreas(const VaultSnapshot& snapshot, const TaskTally& tasks,
                                                        Timestamp now, const Calendar& calendar) {
  return quietest(Bucket::areas, untouchedAfterDays, snapshot, tasks, now, calendar);
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
