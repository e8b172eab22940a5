#include "core/tasks/TaskTally.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/platform/Folder.h"
#include "core/platform/Parallel.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

// In one note.
struct TaskTally::Found {
  Counts counts = {};
  std::vector<std::string> noteNames = {};

  bool isEmpty() const { return counts.open + counts.done == 0 && noteNames.empty(); }
};

TaskTally::TaskTally(const VaultSnapshot& snapshot) {
  inParallel(snapshot.notes.size(), [&](std::size_t i) {
    const Note& note = *snapshot.notes[i];
    if (std::ranges::count(note.tags, chatTag) == 0) put(note.folderPath(), findIn(note.body, note.bucket));
  });
}

void TaskTally::add(const NoteFile& file) {
  if (!Note::mayHoldTasks(file.text)) return;
  Found found = findIn(MarkdownView(file.text).body, file.bucket);
  if (!found.isEmpty() && !file.isSavedChat()) put(parentPath(file.id), std::move(found));
}

TaskTally::Counts TaskTally::in(std::string_view folder) const {
  const auto found = folders_.find(folder);
  return found == folders_.end() ? Counts() : found->second;
}

TaskTally::Found TaskTally::findIn(std::string_view body, Bucket bucket) {
  Found found;
  TaskLine::Scanner lines(body);
  while (const auto line = lines.next()) {
    const auto task = TaskLine::glance(*line);
    if (!task) continue;
    if (task->hasText) ++(task->status == TaskStatus::done ? found.counts.done : found.counts.open);
    if (bucket == Bucket::archive) continue;
    if (auto name = TaskLine::noteName(*line)) found.noteNames.push_back(std::move(*name));
  }
  return found;
}

void TaskTally::put(std::string_view folder, Found found) {
  if (found.isEmpty()) return;
  const std::lock_guard lock(mutex_);
  auto entry = folders_.find(folder);
  if (entry == folders_.end()) entry = folders_.try_emplace(std::string(folder)).first;
  entry->second.open += found.counts.open;
  entry->second.done += found.counts.done;
  noteNames_.insert(std::make_move_iterator(found.noteNames.begin()), std::make_move_iterator(found.noteNames.end()));
}

NoteFilter tallyingFilter(TaskTally& tasks) {
  return [&tasks](const NoteFile& file) {
    tasks.add(file);
    return !bucket::isFiled(file.bucket);
  };
}

}  // namespace vesk
