#include "core/vault/Note.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "core/platform/Folder.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

// Tags by which the planner schedules a task; they say nothing of the note.
bool isSchedulingTag(std::string_view tag) { return tag.starts_with("remind/") || tag.starts_with("at/"); }

// Tags in the order they are seen, each once. A few are compared one by one; thousands would take too long.
class TagList {
 public:
  void add(std::string_view tag) {
    if (isSchedulingTag(tag) || isKnown(tag)) return;
    tags_.push_back(tag);
    if (tags_.size() > few) known_.insert(tag);
  }

  std::vector<std::string> copied() const { return {tags_.begin(), tags_.end()}; }

 private:
  static constexpr std::size_t few = 32;

  bool isKnown(std::string_view tag) const {
    const auto end = tags_.begin() + static_cast<std::ptrdiff_t>(std::min(tags_.size(), few));
    return std::find(tags_.begin(), end, tag) != end || (!known_.empty() && known_.contains(tag));
  }

  std::vector<std::string_view> tags_;
  std::unordered_set<std::string_view> known_;  // those behind the first few
};

}  // namespace

std::string_view Note::fileName() const {
  const std::string_view name = lastComponent(id);
  return name.substr(0, name.rfind('.'));
}

std::string_view Note::folderPath() const { return parentPath(id); }

std::string_view Note::preview() const { return markdown::preview(body); }

std::vector<TaskItem> Note::tasks() const { return TaskLine::tasksOfBody(body, bodyLine, {id, title, bucket}); }

std::vector<std::string> Note::openTasks() const {
  std::vector<std::string> titles;
  for (TaskItem& task : tasks())
    if (task.status != TaskStatus::done) titles.push_back(std::move(task.title));
  return titles;
}

std::size_t Note::doneTaskCount() const {
  const auto all = tasks();
  return static_cast<std::size_t>(
      std::count_if(all.begin(), all.end(), [](const TaskItem& task) { return task.status == TaskStatus::done; }));
}

std::string noteTitle(const MarkdownView& file, std::string_view fileName) {
  if (const auto title = markdown::value(file.frontmatter, "title"); title && !title->empty())
    return std::string(*title);
  if (auto heading = markdown::firstHeading(file.body); heading && !heading->empty()) return *heading;
  return std::string(fileName);
}

std::vector<std::string> noteTags(const MarkdownView& file) {
  TagList tags;
  for (const std::string_view tag : markdown::tags(file.frontmatter)) tags.add(tag);
  if (file.body.find('#') == std::string::npos) return tags.copied();
  // Most notes hold no code, and their text is their prose.
  const auto pieces = markdown::prosePieces(file.body);
  const std::string joined = pieces.size() > 1 ? markdown::joined(pieces) : std::string();
  const std::string_view prose = pieces.size() > 1 ? joined : pieces.empty() ? std::string_view() : pieces.front();
  markdown::TagScanner scanner(prose);
  while (const auto match = scanner.next()) tags.add(match->tag);
  return tags.copied();
}

void readNoteText(Note& note, std::string_view text) {
  const MarkdownView file(text);
  note.title = noteTitle(file, note.fileName());
  note.tags = noteTags(file);
  note.links = markdown::links(file.body);
  note.isVeskPage = markdown::value(file.frontmatter, "vesk") == "true";
  const std::string_view above = text.substr(0, text.size() - file.body.size());
  note.bodyLine = static_cast<std::size_t>(std::count(above.begin(), above.end(), '\n'));
  note.body = file.body;
}

}  // namespace vesk
