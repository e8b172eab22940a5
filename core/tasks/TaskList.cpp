#include "core/tasks/TaskList.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Parallel.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/Note.h"
#include "core/vault/VaultScan.h"

namespace vesk {

namespace {

Bucket bucketOf(std::string_view noteID, const Organization& organization) {
  const std::size_t slash = noteID.find('/');
  if (slash == std::string_view::npos) return Bucket::other;
  return organization.role(noteID.substr(0, slash)).value_or(Bucket::other);
}

// The digits of a due day as a number; those of other scripts count the same.
std::uint64_t dayNumber(std::string_view due) {
  std::uint64_t number = 0;
  for (std::size_t at = 0; at < due.size();) {
    const auto next = unicode::decode(due, at);
    if (next.value != '-') number = 10 * number + static_cast<std::uint64_t>(unicode::digitValue(next.value));
    at += next.length;
  }
  return number;
}

constexpr std::uint64_t noDay = 1'0000'00'00;  // after every day

// What is done comes after all that is not.
std::uint64_t rankOf(const TaskLine::Glance& task) {
  return (task.status == TaskStatus::done ? 10 * noDay : 0) + (task.due ? dayNumber(*task.due) : noDay);
}

bool fits(const TaskLine::Glance& task, const TaskFilter& filter) {
  if (!task.hasText || (filter.status && task.status != *filter.status)) return false;
  if (filter.openOnly && task.status == TaskStatus::done) return false;
  return !filter.dueBy || (task.due && dayNumber(*task.due) <= dayNumber(*filter.dueBy));
}

}  // namespace

TaskList::TaskList(const Vault& vault, const TaskFilter& filter)
    : vault_(vault), organization_(vault.organization().value_or(Organization::para())) {
  std::mutex mutex;
  vault.scanOnce([&](const NoteFile& file) {
    const MarkdownView note(file.text);
    std::vector<Entry> entries = entriesOf(file.id, note, filter);
    if (entries.empty() || !text::isValidUtf8(file.text)) return false;
    if (file.isSavedChat()) return false;  // it quotes other people's lists
    const std::lock_guard lock(mutex);
    for (Entry& entry : entries) entry.note = static_cast<std::uint32_t>(noteIDs_.size());
    noteIDs_.emplace_back(file.id);
    entries_.insert(entries_.end(), entries.begin(), entries.end());
    return false;  // what is needed of it is known
  });
}

std::vector<TaskList::Entry> TaskList::entriesOf(std::string_view noteID, const MarkdownView& note,
                                                 const TaskFilter& filter) const {
  std::vector<Entry> entries;
  if (!filter.folder.empty() && !noteID.starts_with(filter.folder + "/")) return entries;
  if (bucketOf(noteID, organization_) == Bucket::archive) return entries;
  TaskLine::Scanner scanner(note.body);
  for (std::uint32_t number = 0; const auto line = scanner.next();) {
    const auto task = TaskLine::glance(*line);
    if (!task) continue;
    if (entries.empty()) entries.reserve(32);  // the threads share one heap
    if (fits(*task, filter)) entries.push_back({.rank = rankOf(*task), .number = number});
    ++number;
  }
  return entries;
}

bool TaskList::comesBefore(const Entry& a, const Entry& b) const {
  if (a.rank != b.rank) return a.rank < b.rank;
  if (a.note != b.note) return listedBefore(noteIDs_[a.note], noteIDs_[b.note]);
  return a.number < b.number;
}

std::vector<TaskItem> TaskList::page(std::size_t begin, std::size_t end) {
  end = std::min(end, entries_.size());
  begin = std::min(begin, end);
  std::partial_sort(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(end), entries_.end(),
                    [&](const Entry& a, const Entry& b) { return comesBefore(a, b); });
  std::map<std::size_t, std::map<std::size_t, std::size_t>> byNote;  // by a task's number, its place on the page
  for (std::size_t i = begin; i < end; ++i) byNote[entries_[i].note][entries_[i].number] = i - begin;
  const std::vector<std::pair<std::size_t, std::map<std::size_t, std::size_t>>> notes(byNote.begin(), byNote.end());

  std::vector<std::optional<TaskItem>> found(end - begin);
  inParallel(notes.size(), [&](std::size_t i) {
    const auto& places = notes[i].second;
    auto place = places.begin();
    for (TaskItem& task :
         tasksOf(noteIDs_[notes[i].first], [&](std::size_t number) { return places.contains(number); }))
      found[(place++)->second] = std::move(task);
  });
  std::vector<TaskItem> page;
  for (auto& task : found)
    if (task) page.push_back(std::move(*task));
  return page;
}

std::vector<TaskItem> TaskList::tasksOf(const std::string& noteID, const TaskLine::Wanted& wanted) const {
  try {
    const std::string text = vault_.read(noteID);
    const std::string title = noteTitle(MarkdownView(text), NoteFile{.id = noteID}.fileName());
    return TaskLine::tasks(text, {noteID, title, bucketOf(noteID, organization_)}, wanted);
  } catch (const Error&) {
    return {};  // it has gone since
  }
}

}  // namespace vesk
