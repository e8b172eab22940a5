#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/base/Time.h"
#include "core/tasks/TaskItem.h"
#include "core/vault/Vault.h"

namespace vesk::app {

// The tasks of a vault, in the order of their notes and lines, but for boxes that still wait to be filled in.
std::vector<TaskItem> tasksOf(const Vault& vault);

// What a line begins with: the day the task is due, or its time on that day.
enum class TaskDate { due, start };

// Tasks as lines: with a mark for the status, the title, what else the tags say ("14:00 1h30 high") and the id.
class TaskRows {
 public:
  // On a terminal the ids show no more of a note's path than tells it from the others of `all` tasks.
  TaskRows(const std::vector<TaskItem>& all, Day today, const Terminal& terminal);

  std::string text(const std::vector<TaskItem>& tasks, TaskDate date) const;

 private:
  struct Row;
  struct Widths;
  std::vector<Row> rowsOf(const std::vector<TaskItem>& tasks, TaskDate date) const;
  std::string beginning(const Row& row, const Widths& widths) const;
  std::string middle(const Row& row, std::size_t width) const;
  std::size_t middleWidth(const Row& row, const Widths& widths) const;

  std::map<std::string, std::string, std::less<>> shortPaths_;
  Day today_;
  Terminal terminal_;
};

// "14:00 1h30 high".
std::string taskDetails(const TaskItem& task, TaskDate date);

Json::Array taskEntries(const std::vector<TaskItem>& tasks);

}  // namespace vesk::app
