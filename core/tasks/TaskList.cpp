#include "core/tasks/TaskList.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/platform/Folder.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/Note.h"
#include "core/vault/VaultScan.h"

namespace vesk {

namespace {

bool isChat(const MarkdownView& view, std::string_view text) {
  if (text.find(chatTag) == std::string_view::npos) return false;
  const auto tags = noteTags(view);
  return std::find(tags.begin(), tags.end(), chatTag) != tags.end();
}

Bucket bucketOf(std::string_view noteID, const Organization& organization) {
  const std::size_t slash = noteID.find('/');
  if (slash == std::string_view::npos) return Bucket::other;
  return organization.role(noteID.substr(0, slash)).value_or(Bucket::other);
}

std::vector<TaskItem> tasksOf(const NoteFile& file, const Organization& organization) {
  const Bucket bucket = bucketOf(file.id, organization);
  if (bucket == Bucket::archive || !text::isValidUtf8(file.text)) return {};
  const MarkdownView view(file.text);
  if (isChat(view, file.text)) return {};
  const std::string title = noteTitle(view, file.fileName());
  return TaskLine::tasks(file.text, {file.id, title, bucket});
}

}  // namespace

std::vector<TaskItem> scanTasks(const Vault& vault, const std::function<bool(const TaskItem&)>& wanted) {
  const Organization organization = vault.organization().value_or(Organization::para());
  std::mutex mutex;
  std::vector<TaskItem> found;
  vault.scanOnce([&](const NoteFile& file) {
    if (!TaskLine::mayHoldTasks(file.text)) return false;
    auto tasks = tasksOf(file, organization);
    std::erase_if(tasks, [&](const TaskItem& task) { return !wanted(task); });
    if (tasks.empty()) return false;
    const std::lock_guard lock(mutex);
    std::move(tasks.begin(), tasks.end(), std::back_inserter(found));
    return false;  // what is needed of it is known
  });
  return found;
}

bool comesSooner(const TaskItem& a, const TaskItem& b) {
  const bool aIsDone = a.status == TaskStatus::done;
  const bool bIsDone = b.status == TaskStatus::done;
  if (aIsDone != bIsDone) return bIsDone;
  if (a.due.has_value() != b.due.has_value()) return a.due.has_value();
  if (a.due != b.due) return *a.due < *b.due;
  if (a.noteID != b.noteID) return listedBefore(a.noteID, b.noteID);
  return a.line < b.line;
}

}  // namespace vesk
