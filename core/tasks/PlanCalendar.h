#pragma once

#include <string>
#include <vector>

#include "core/tasks/Planner.h"

namespace vesk {

// The blocks as an iCalendar stream (RFC 5545) that any calendar can import: an event each, in their order, with its
// times in UTC. The same blocks give the same bytes, whenever it is written.
//
// Titles may hold anything: a line break stays one, and control characters, which the format has no way to write,
// become spaces. A block of no length becomes an event without an end.
std::string iCalendar(const std::vector<TaskBlock>& blocks);

}  // namespace vesk
