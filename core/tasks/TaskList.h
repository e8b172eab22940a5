#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tasks/TaskItem.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/Organization.h"
#include "core/vault/Vault.h"

namespace vesk {

// Which tasks a list is to hold.
struct TaskFilter {
  std::optional<TaskStatus> status = {};
  std::string folder = {};                // only tasks in it; "" for all
  std::optional<std::string> dueBy = {};  // only tasks due on or before that day ("YYYY-MM-DD")
  bool openOnly = false;                  // none that is done
};

// The tasks of VaultSnapshot::tasks() that are wanted, but for those without a text, which wait to be filled in. What
// is to be done comes before what is done, the soonest due first, those without a day last; else as a scan finds them.
//
// Reads every note once, and once more those whose tasks are then asked for. The vault must outlive it.
class TaskList {
 public:
  TaskList(const Vault& vault, const TaskFilter& filter);

  std::size_t size() const { return entries_.size(); }

  // The tasks from `begin` up to `end`, as they are now: where a note changed since the list was made, fewer or others.
  std::vector<TaskItem> page(std::size_t begin, std::size_t end);

 private:
  // Kept small: a vault may hold hundreds of thousands.
  struct Entry {
    std::uint64_t rank = 0;    // the lower, the further in front
    std::uint32_t note = 0;    // in noteIDs_
    std::uint32_t number = 0;  // among the note's tasks, from 0
  };

  std::vector<Entry> entriesOf(std::string_view noteID, const MarkdownView& note, const TaskFilter& filter) const;
  bool comesBefore(const Entry& a, const Entry& b) const;
  std::vector<TaskItem> tasksOf(const std::string& noteID, const TaskLine::Wanted& wanted) const;

  const Vault& vault_;
  Organization organization_;
  std::vector<std::string> noteIDs_;
  std::vector<Entry> entries_;
};

}  // namespace vesk
