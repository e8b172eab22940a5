#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/tasks/TaskItem.h"

namespace vesk {

// A task's time, set aside in the user's calendar.
struct TaskBlock {
  std::string id = {};  // stays the same while the task moves
  std::string title = {};
  Timestamp start = {};
  int minutes = 0;
  std::optional<std::string> eventID = {};  // of the calendar's event that shows the block, once there is one

  bool operator==(const TaskBlock&) const = default;
};

// A step that brings the calendar and the map of known events (from a block's id to an event's) in line with the tasks.
struct BlockChange {
  enum class Kind {
    create,   // make an event for the block, and let the map know it
    update,   // write the block's title, start and length to its event
    remove,   // delete the event, and let the map forget the block
    adopt,    // let the map know the block's event
    release,  // let the map forget the block; a task that still asks for it loses its start and its block's id
  };
  Kind kind = Kind::create;
  TaskBlock block = {};  // with the id of the event that is meant, unless that is to be created

  bool operator==(const BlockChange&) const = default;
};

// The conversion between a day and its text, "YYYY-MM-DD".
namespace TaskDay {

std::string text(Timestamp moment, const Calendar& calendar);

// The beginning of that day. Nullopt when the text is no day, or one that a Timestamp can't hold.
std::optional<Timestamp> date(std::string_view text, const Calendar& calendar);

}  // namespace TaskDay

// The vault's tasks laid out over days and hours. Nothing here reads the clock or changes anything.
namespace Planner {

// What a task without a duration counts, in minutes.
inline constexpr int defaultDuration = 30;

// What was typed, trimmed, with a duration at its end ("Write 1h30", "Call 45 min") turned into its tag ("Write
// #dur/90"). Takes every match of \s+(?:(\d{1,2})h(?:(\d{1,2})(?:m(?:in)?)?)?|(\d{1,4})\s?m(?:in)?)$ in ICU's regular
// expressions for one, but for durations of less than a minute; in time linear in the text.
std::string entry(std::string_view typed);

// The tasks that are due on a day, done ones too: timed ones first, by their time; then by priority; then by title.
std::vector<TaskItem> tasks(const std::vector<TaskItem>& tasks, Day day);

// What is not done and has no day or one before `today`: by day, those without one last; then by title.
std::vector<TaskItem> backlog(const std::vector<TaskItem>& tasks, Day today);

// How long the tasks that are not done take.
std::int64_t minutes(const std::vector<TaskItem>& tasks);

// When a day and a time, as a task's line has them, have come. Nullopt when either is missing or not in the calendar.
std::optional<Timestamp> moment(const std::optional<std::string>& due, const std::optional<std::string>& at,
                                const Calendar& calendar);

// When a task starts. Nullopt without a due day and a start time, and for ones that are not in the calendar.
std::optional<Timestamp> start(const TaskItem& task, const Calendar& calendar);

// The blocks that tasks ask for in the days from `from` to `to`, both included: one for each task that is not done and
// has a start. By their start.
//
// A block has the id that its task's line carries. Without one, or when an earlier task carries the same, it has one
// made of the note, the title and the place among the note's tasks of that title, so that it stays the same when the
// task is moved to another day. For that `tasks` is to hold all tasks, whatever the days.
std::vector<TaskBlock> blocks(const std::vector<TaskItem>& tasks, Day from, Day to, const Calendar& calendar);

// What to do for the calendar to show the wanted blocks, by the blocks' ids. Once it is done there is nothing to do.
//
// | wanted | its event     | known         | changes
// |--------|---------------|---------------|--------------------------------------------------------------------------
// | yes    | none          | no            | create
// | yes    | none          | yes           | release: the user deleted it, and it isn't made again behind their back
// | yes    | the same      | this event    |
// | yes    | the same      | no            | adopt
// | yes    | the same      | another event | adopt
// | yes    | differs       | this event    | update
// | yes    | differs       | no            | adopt, update
// | yes    | differs       | another event | adopt, update
// | no     | none          | no            |
// | no     | none          | yes           | release
// | no     | there         | this event    | remove
// | no     | there         | no            | none: it isn't known to be ours
// | no     | there         | another event | remove: a calendar may give an event another id when it syncs
//
// An event that differs in title, start or length gets those of the task: nothing tells which of the two was changed
// last, and what counts is what the notes say.
//
// `existing` are the calendar's events that carry a block's id, each with its own; of several for one block the known
// one counts, else the one whose id comes first, and the others are left alone. They are to include every known event
// that there still is, also one that the user moved to another day; and `known` is to hold no blocks but those of the
// days that `wanted` covers.
std::vector<BlockChange> reconcile(const std::vector<TaskBlock>& wanted, const std::vector<TaskBlock>& existing,
                                   const std::map<std::string, std::string>& known);

}  // namespace Planner

}  // namespace vesk
