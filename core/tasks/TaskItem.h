#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/vault/Bucket.h"

namespace vesk {

enum class TaskStatus { todo, doing, done };

// No priority is the normal case.
enum class TaskPriority { high, low };

// A checkbox line of a note, with what its control tags say. What was typed is kept: a due day need not be in the
// calendar.
struct TaskItem {
  std::string noteID = {};
  std::string noteTitle = {};
  std::string folderPath = {};  // the note's; "" in the root
  Bucket bucket = Bucket::other;
  std::size_t line = 0;      // from 0, counted from the first line of the file
  std::string rawLine = {};  // as it stands in the file, without its "\n"
  TaskStatus status = TaskStatus::todo;
  std::optional<std::string> due = {};  // "YYYY-MM-DD"
  std::optional<TaskPriority> priority = {};
  std::optional<std::string> reminder = {};    // "HH:MM" on the due day
  std::optional<int> duration = {};            // minutes
  std::optional<std::string> start = {};       // "HH:MM" on the due day
  std::optional<std::string> block = {};       // eight hexadecimal digits
  std::string text = {};                       // without the control tags
  std::string title = {};                      // the text with its links made plain
  std::vector<std::string> tags = {};          // the other tags of the text, without "#"
  std::optional<std::string> linkedNote = {};  // the target of its first link: the note that describes the task

  // The noteID, "#" and the line. Another once lines are added or removed above it.
  std::string id() const { return noteID + "#" + std::to_string(line); }

  bool operator==(const TaskItem&) const = default;
};

}  // namespace vesk
