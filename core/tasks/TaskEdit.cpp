#include "core/tasks/TaskEdit.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Folder.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

// The task's line in the text, without its "\n". VaultError::conflict when it is another line now.
std::string_view lineOf(std::string_view text, const TaskItem& item) {
  std::size_t begin = 0;
  for (std::size_t number = 0; number < item.line; ++number) {
    const std::size_t end = text.find('\n', begin);
    if (end == std::string_view::npos) throw VaultError::conflict();
    begin = end + 1;
  }
  const std::string_view line = text.substr(begin, text.find('\n', begin) - begin);
  if (line != item.rawLine) throw VaultError::conflict();
  return line;
}

// Takes the value that was typed in the text, unless the edit set the field itself.
template <typename Value>
void take(std::optional<Value>& typed, const std::optional<Value>& edited, const std::optional<Value>& current) {
  if (!typed || edited != current) typed = edited;
}

TaskLine::Parts partsOf(const TaskEdit& edit, const TaskItem& item) {
  TaskLine::Parts parts = TaskLine::parseText(edit.text);
  // A typed "doing" starts what is to be done, and nothing else.
  if (parts.status == TaskStatus::todo || edit.status != item.status || edit.status == TaskStatus::done)
    parts.status = edit.status;
  take(parts.due, edit.due, item.due);
  take(parts.priority, edit.priority, item.priority);
  take(parts.reminder, edit.reminder, item.reminder);
  take(parts.duration, edit.duration, item.duration);
  take(parts.start, edit.start, item.start);
  take(parts.block, edit.block, item.block);
  return parts;
}

// The line. Throws for a value that would be read as something else.
std::string written(const TaskLine::Parts& parts) {
  std::string line = TaskLine::render(parts);
  if (!text::isValidUtf8(line)) throw Error("The task's text isn't UTF-8.");
  if (TaskLine::parse(line) != parts) throw Error("That can't be written in a task's line.");
  return line;
}

// Everything but the line: the text before it, and that behind.
std::pair<std::string_view, std::string_view> around(std::string_view text, std::string_view line) {
  const auto begin = static_cast<std::size_t>(line.data() - text.data());
  return {text.substr(0, begin), text.substr(begin + line.size())};
}

}  // namespace

TaskEdit::TaskEdit(const TaskItem& item)
    : status(item.status),
      due(item.due),
      priority(item.priority),
      reminder(item.reminder),
      duration(item.duration),
      start(item.start),
      text(item.text),
      block(item.block) {}

std::string withTask(std::string_view noteText, const TaskItem& item, const TaskChange& change) {
  const std::string_view line = lineOf(noteText, item);
  const auto present = TaskLine::parse(line);
  if (!present) throw VaultError::conflict();
  TaskEdit edit(item);
  change(edit);
  TaskLine::Parts parts = partsOf(std::move(edit), item);
  parts.indent = present->indent;
  const auto [before, after] = around(noteText, line);
  const std::string changed = written(parts);
  return markdown::joined({before, changed, TaskLine::ending(line), after});
}

std::string withoutTask(std::string_view noteText, const TaskItem& item) {
  auto [before, after] = around(noteText, lineOf(noteText, item));
  if (after.starts_with('\n')) return markdown::joined({before, after.substr(1)});
  // It was the last line, and had no line break: now the one before it has none.
  if (before.ends_with('\n')) before.remove_suffix(1);
  if (before.ends_with('\r')) before.remove_suffix(1);
  return std::string(before);
}

TextChange update(const Vault& vault, const TaskItem& item, const TaskChange& change) {
  return vault.rewrite(item.noteID, [&](const std::string& text) { return withTask(text, item, change); });
}

TextChange remove(const Vault& vault, const TaskItem& item) {
  return vault.rewrite(item.noteID, [&](const std::string& text) { return withoutTask(text, item); });
}

TaskLine::Parts newTask(std::string_view typed, std::optional<std::string> due) {
  TaskLine::Parts task = TaskLine::parseText(typed);
  if (due) task.due = std::move(due);
  return task;
}

std::string withNewTask(std::string_view noteText, const TaskLine::Parts& task) {
  return Vault::appended(noteText, written(task).append(text::lineBreak(noteText)));
}

AddedTask addTask(const Vault& vault, const TaskLine::Parts& task, std::string_view listName, std::string_view folder) {
  AddedTask added;
  added.noteID = Vault::noteID(listName, folder);
  added.change.after = withNewTask("", task);
  added.madeNote = vault.createFile(added.noteID, added.change.after);
  if (!added.madeNote)
    added.change = vault.rewrite(added.noteID, [&](const std::string& text) { return withNewTask(text, task); });
  const std::string& after = added.change.after;
  added.line = static_cast<std::size_t>(std::count(after.begin(), after.end(), '\n')) - 1;
  return added;
}

std::string textLinkedTo(std::string_view noteID, const TaskItem& item) {
  const std::string_view file = lastComponent(noteID);
  // What would end the link is no part of what it shows.
  std::string title = item.title;
  std::replace_if(
      title.begin(), title.end(), [](char c) { return c == '[' || c == ']' || c == '|'; }, ' ');
  return fmt::format("[[{}|{}]]", file.substr(0, file.rfind('.')), text::collapseWhitespace(title));
}

std::string attachNote(const Vault& vault, const TaskItem& item) {
  if (item.linkedNote) throw Error("This task already has a note.");
  std::string noteID = vault.createNote(item.title, "", {}, item.folderPath);
  try {
    update(vault, item, [&](TaskEdit& edit) { edit.text = textLinkedTo(noteID, item); });
  } catch (...) {
    vault.moveToTrash(noteID);
    throw;
  }
  return noteID;
}

}  // namespace vesk
