#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tasks/TaskItem.h"
#include "core/vault/MarkdownScanner.h"

// The task line: `^(\s*)- \[([ xX])\] (.*)$`, with control tags anywhere in its text.
namespace vesk {

std::string_view name(TaskStatus status);      // "todo", "doing", "done"
std::string_view name(TaskPriority priority);  // "high", "low"
std::optional<TaskStatus> taskStatusNamed(std::string_view name);
std::optional<TaskPriority> taskPriorityNamed(std::string_view name);

namespace TaskLine {

// A line taken apart. An empty optional is a tag that is not written.
struct Parts {
  std::string indent = {};  // the white space before the hyphen, kept exactly
  TaskStatus status = TaskStatus::todo;
  std::optional<std::string> due = {};
  std::optional<TaskPriority> priority = {};
  std::optional<std::string> reminder = {};
  std::optional<int> duration = {};  // minutes
  std::optional<std::string> start = {};
  std::optional<std::string> block = {};
  std::string text = {};  // the words, single spaces between them

  bool operator==(const Parts&) const = default;
};

// Nullopt when the line is no task line. Takes time linear in the line, whatever it holds.
//
// Of a control tag that stands there twice the last one holds. One that only comes about when the tag before it is
// taken out ("#prio/high#due/2026-11-05") is taken out, too: it would be a tag as soon as the line is written.
std::optional<Parts> parse(std::string_view line);

// As parse(), of what stands behind the box.
Parts parseText(std::string_view text);

// What decides on a task's place in a list.
struct Glance {
  TaskStatus status = TaskStatus::todo;
  std::optional<std::string> due = {};
  bool hasText = false;  // false for a box that still waits to be filled in
};

// What parse() would say of these, without making anything of the text.
std::optional<Glance> glance(std::string_view line);

// Whether a tag, given without its "#", is one by which a task line says something: "prio/high". Of a note's subject it
// says nothing.
bool isControlTag(std::string_view tag);

// The line, with its tags in their fixed order: one that was rendered once renders the same ever after. Without what
// may follow the text in the file, a carriage return.
std::string render(const Parts& parts);

// What stands behind the text of a task line: a carriage return, as a rule nothing.
std::string_view ending(std::string_view line);

// The text with each link shown by its alias, else its target.
std::string plainLinks(std::string_view text);

// The name of the note that describes the task of that line, as a key (text::key); nullopt when none does.
std::optional<std::string> noteName(std::string_view line);

// Goes through the lines of a note's body that may be tasks: those that begin like one and are no code.
class Scanner {
 public:
  explicit Scanner(std::string_view body) : body_(body), fence_(markdown::nextFence(body, 0)) {}

  // The next line, without its "\n"; nullopt at the end.
  std::optional<std::string_view> next();

 private:
  bool isCode(std::size_t line);

  std::string_view body_;
  std::size_t position_ = 0;
  std::size_t fence_;      // the beginning of the next line that opens or closes a block
  bool isFenced_ = false;  // the lines before it are code
};

// The note that a task stands in.
struct Place {
  std::string_view noteID = {};
  std::string_view noteTitle = {};
  Bucket bucket = Bucket::other;
};

// Of the tasks of a note, by their place among them, which are wanted; empty for all.
using Wanted = std::function<bool(std::size_t index)>;

// The tasks of a note's whole text, in order; front matter and fenced code hold none.
std::vector<TaskItem> tasks(std::string_view text, const Place& place, const Wanted& wanted = {});

// The tasks of a note's body, whose first line is the file's line of that number.
std::vector<TaskItem> tasksOfBody(std::string_view body, std::size_t firstLine, const Place& place,
                                  const Wanted& wanted = {});

// The task of one line; nullopt when it is none.
std::optional<TaskItem> task(std::string_view line);

}  // namespace TaskLine

}  // namespace vesk
