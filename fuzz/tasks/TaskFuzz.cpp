#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Text.h"
#include "core/tasks/TaskEdit.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/Note.h"

namespace {

using namespace vesk;
using TaskLine::Parts;

void require(bool holds) {
  if (!holds) std::abort();
}

// What is written reads as what it was written from.
void checkParts(const Parts& parts) { require(TaskLine::parse(TaskLine::render(parts)) == parts); }

// Both ways to read a note's tasks find the same, each in its line.
std::vector<TaskItem> checkedTasks(std::string_view text) {
  Note note;
  note.id = "Inbox/Note.md";
  readNoteText(note, text);
  auto tasks = TaskLine::tasks(text, {note.id, note.title, note.bucket});
  require(tasks == note.tasks());
  const auto lines = text::split(text, '\n');
  for (const TaskItem& task : tasks) require(task.line < lines.size() && task.rawLine == lines[task.line]);
  return tasks;
}

// The task once its note is linked; nothing else of it changes.
void checkLinked(std::string_view text, const TaskItem& task) {
  const auto linkTo = [&](TaskEdit& edit) { edit.text = textLinkedTo("Inbox/Its note.md", task); };
  const std::string changed = withTask(text, task, linkTo);
  const auto linked = TaskLine::task(text::split(changed, '\n')[task.line]);
  require(linked && linked->linkedNote == "Its note");
  Parts parts = *TaskLine::parse(linked->rawLine);
  parts.text = task.text;
  require(parts == TaskLine::parse(task.rawLine));
}

void checkEdits(std::string_view text, const TaskItem& task) {
  const auto lines = text::split(text, '\n');
  const std::string changed = withTask(text, task, [](TaskEdit&) {});
  auto same = text::split(changed, '\n');
  require(same.size() == lines.size());
  require(TaskLine::parse(same[task.line]) == TaskLine::parse(task.rawLine));
  same[task.line] = lines[task.line];
  require(same == lines);
  // Without the line, and without the line break that went with it.
  require(text::split(withoutTask(text, task), '\n').size() == std::max<std::size_t>(lines.size() - 1, 1));
  if (!task.linkedNote) checkLinked(text, task);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto parts = TaskLine::parse(text);
  const Parts typed = newTask(text);
  TaskLine::plainLinks(text);
  const auto tasks = TaskLine::tasks(text, {});
  if (!text::isValidUtf8(text)) return 0;  // the scan passes such a file over
  if (parts) checkParts(*parts);
  checkParts(typed);
  const auto found = checkedTasks(text);
  require(found.size() == tasks.size());
  // Each edit takes the whole text apart, so one task is enough.
  if (!found.empty()) checkEdits(text, found[size % found.size()]);
  return 0;
}
