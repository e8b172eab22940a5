#pragma once

#include <functional>
#include <vector>

#include "core/tasks/TaskItem.h"
#include "core/vault/Vault.h"

namespace vesk {

// The tasks of VaultSnapshot::tasks() that are wanted, in no order. Reads every note, but takes none apart that holds
// no task. `wanted` is asked from several threads at once.
std::vector<TaskItem> scanTasks(const Vault& vault, const std::function<bool(const TaskItem& task)>& wanted);

// The order of a list of tasks: what is to be done before what is done, the soonest due first, those without a day
// last, else as a scan finds them.
bool comesSooner(const TaskItem& a, const TaskItem& b);

}  // namespace vesk
