#include "app/TaskRows.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "app/Days.h"
#include "core/base/Text.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/VaultScan.h"

namespace vesk::app {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t leastWidth = 12;  // of a title that is shortened

// ---- Ids

// Calls visit(end) with each end of the path that begins with a whole name, the longest first.
template <typename Visit>
void visitEnds(std::string_view path, Visit visit) {
  for (std::size_t begin = 0; begin != std::string_view::npos;) {
    visit(path.substr(begin));
    const std::size_t slash = path.find('/', begin);
    begin = slash == std::string_view::npos ? slash : slash + 1;
  }
}

// By noteID the shortest end of it that no other has.
std::map<std::string, std::string, std::less<>> shortPathsOf(const std::vector<TaskItem>& tasks) {
  std::map<std::string, std::string, std::less<>> paths;
  for (const TaskItem& task : tasks) paths[task.noteID] = task.noteID;
  std::map<std::string_view, int> counts;
  for (const auto& [noteID, path] : paths) visitEnds(noteID, [&](std::string_view end) { ++counts[end]; });
  for (auto& [noteID, path] : paths)
    visitEnds(noteID, [&, &path = path](std::string_view end) {
      if (counts[end] == 1) path = end;
    });
  return paths;
}

// ---- Rows

std::string mark(const TaskItem& task, const Terminal& terminal) {
  switch (task.status) {
    case TaskStatus::todo: return "○";
    case TaskStatus::doing: return styled("◐", Style::found, terminal);
    case TaskStatus::done: return styled("✓", Style::good, terminal);
  }
  return "";
}

Style titleStyle(const TaskItem& task) {
  if (task.status == TaskStatus::done) return Style::faint;
  return task.priority == TaskPriority::high ? Style::strong : Style::plain;
}

Style dateStyle(const TaskItem& task, Day today) {
  const bool isLate = task.status != TaskStatus::done && task.due && *task.due < time::isoDay(today);
  return isLate ? Style::bad : Style::faint;
}

std::string inParentheses(const std::string& details) {
  return details.empty() ? details : fmt::format("({})", details);
}

}  // namespace

std::vector<TaskItem> tasksOf(const Vault& vault) {
  auto tasks = vault.scanOnce([](const NoteFile& file) { return Note::mayHoldTasks(file.text); }).tasks();
  std::erase_if(tasks, [](const TaskItem& task) { return task.text.empty(); });
  return tasks;
}

std::string taskDetails(const TaskItem& task, TaskDate date) {
  std::vector<std::string> details;
  if (task.start && date != TaskDate::start) details.push_back(*task.start);
  if (task.duration) details.push_back(shortDuration(*task.duration));
  if (task.priority) details.emplace_back(name(*task.priority));
  if (task.reminder) details.push_back("remind " + *task.reminder);
  return text::join(details, " ");
}

struct TaskRows::Row {
  const TaskItem& task;
  std::string date = {};
  std::string title = {};
  std::string details = {};
  std::string id = {};

  std::size_t textWidth() const { return columns(title) + (details.empty() ? 0 : 1 + columns(details)); }
};

// Columns that the parts of a line need, in the longest.
struct TaskRows::Widths {
  std::size_t date = 0;
  std::size_t text = 0;
  std::size_t id = 0;
};

TaskRows::TaskRows(const std::vector<TaskItem>& all, Day today, const Terminal& terminal)
    : today_(today), terminal_(terminal) {
  if (terminal.width) shortPaths_ = shortPathsOf(all);
}

std::vector<TaskRows::Row> TaskRows::rowsOf(const std::vector<TaskItem>& tasks, TaskDate date) const {
  std::vector<Row> rows;
  for (const TaskItem& task : tasks) {
    const auto shortPath = shortPaths_.find(task.noteID);
    const std::string& path = shortPath == shortPaths_.end() ? task.noteID : shortPath->second;
    rows.push_back({.task = task,
                    .date = safe((date == TaskDate::due ? task.due : task.start).value_or("")),
                    .title = safe(task.title),
                    .details = inParentheses(safe(taskDetails(task, date))),
                    .id = safe(fmt::format("{}#{}", path, task.line))});
  }
  return rows;
}

// The date and the mark.
std::string TaskRows::beginning(const Row& row, const Widths& widths) const {
  std::string text = styled(row.date, dateStyle(row.task, today_), terminal_);
  text.append(widths.date - columns(row.date) + gap, ' ');
  return text.append(mark(row.task, terminal_)).append(gap, ' ');
}

// The title and the details, filled up with spaces. Of the two the title is shortened.
std::string TaskRows::middle(const Row& row, std::size_t width) const {
  const std::size_t details = row.textWidth() - columns(row.title);
  const std::string title = shortened(row.title, std::max(width, details + leastWidth) - details);
  std::string text = styled(title, titleStyle(row.task), terminal_);
  if (details > 0) text += " " + styled(row.details, Style::faint, terminal_);
  const std::size_t taken = columns(title) + details;
  return text.append(std::max(width, taken) - taken, ' ');
}

// On a terminal the ids end in one column, so that a short one leaves more to its title.
std::size_t TaskRows::middleWidth(const Row& row, const Widths& widths) const {
  if (!terminal_.width) return widths.text;
  const std::size_t others = widths.date + gap + 1 + gap + gap;
  const std::size_t line = std::min(*terminal_.width, others + widths.text + widths.id);
  return std::max(line, others + columns(row.id)) - others - columns(row.id);
}

std::string TaskRows::text(const std::vector<TaskItem>& tasks, TaskDate date) const {
  const std::vector<Row> rows = rowsOf(tasks, date);
  Widths widths = {.date = columns(date == TaskDate::due ? "YYYY-MM-DD" : "HH:MM")};
  for (const Row& row : rows) {
    widths.date = std::max(widths.date, columns(row.date));
    widths.text = std::max(widths.text, row.textWidth());
    widths.id = std::max(widths.id, columns(row.id));
  }
  std::string lines;
  for (const Row& row : rows)
    lines.append(beginning(row, widths))
        .append(middle(row, middleWidth(row, widths)))
        .append(gap, ' ')
        .append(styled(row.id, Style::faint, terminal_))
        .append("\n");
  return lines;
}

Json::Array taskEntries(const std::vector<TaskItem>& tasks) {
  Json::Array entries;
  for (const TaskItem& task : tasks) {
    Json entry;
    entry["id"] = task.id();
    entry["title"] = task.title;
    entry["text"] = task.text;
    entry["status"] = name(task.status);
    entry["note"] = task.noteID;
    entry["tags"] = Json::Array(task.tags.begin(), task.tags.end());
    if (task.due) entry["due"] = *task.due;
    if (task.priority) entry["priority"] = name(*task.priority);
    if (task.reminder) entry["reminder"] = *task.reminder;
    if (task.duration) entry["duration_minutes"] = *task.duration;
    if (task.start) entry["start"] = *task.start;
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace vesk::app
