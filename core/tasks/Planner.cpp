#include "core/tasks/Planner.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk {

namespace {

// ---- Durations

// Takes the digits that `rest` starts with off it, and returns their value. Nullopt when there are none or too many.
std::optional<int> takeNumber(std::string_view& rest, int mostDigits) {
  int value = 0;
  int count = 0;
  while (!rest.empty()) {
    const auto next = unicode::decode(rest, 0);
    if (!unicode::isDigit(next.value)) break;
    if (++count > mostDigits) return std::nullopt;
    value = 10 * value + unicode::digitValue(next.value);
    rest.remove_prefix(next.length);
  }
  if (count == 0) return std::nullopt;
  return value;
}

// Of "45".
std::optional<int> plainMinutes(std::string_view word) {
  const std::optional<int> number = takeNumber(word, 4);
  return word.empty() ? number : std::nullopt;
}

// Of "2h", "2h15", "2h15m" and "2h15min".
std::optional<int> hoursAndMinutes(std::string_view word) {
  const std::optional<int> hours = takeNumber(word, 2);
  if (!hours || !word.starts_with('h')) return std::nullopt;
  word.remove_prefix(1);
  if (word.empty()) return 60 * *hours;
  const std::optional<int> rest = takeNumber(word, 2);
  if (!rest || (!word.empty() && word != "m" && word != "min")) return std::nullopt;
  return 60 * *hours + *rest;
}

// Without the unit of minutes at its end; nullopt without one.
std::optional<std::string_view> beforeUnit(std::string_view text) {
  for (const std::string_view unit : {"min", "m"}) {
    if (text.ends_with(unit)) return text.substr(0, text.size() - unit.size());
  }
  return std::nullopt;
}

std::string_view lastWord(std::string_view text) {
  std::size_t begin = text.size();
  while (begin > 0) {
    const auto last = unicode::decodeBefore(text, begin);
    if (unicode::isWhitespace(last.value)) break;
    begin -= last.length;
  }
  return text.substr(begin);
}

struct Duration {
  std::size_t begin = 0;  // where the number stands
  int minutes = 0;
};

// The duration that a trimmed text ends with.
std::optional<Duration> durationAtEnd(std::string_view text) {
  const std::string_view word = lastWord(text);
  const std::size_t begin = text.size() - word.size();
  if (const auto minutes = hoursAndMinutes(word)) return Duration{begin, *minutes};

  std::optional<std::string_view> rest = beforeUnit(text);
  if (!rest) return std::nullopt;
  if (!rest->empty()) {  // one space may stand before the unit
    const auto last = unicode::decodeBefore(*rest, rest->size());
    if (unicode::isWhitespace(last.value)) rest->remove_suffix(last.length);
  }
  const std::string_view number = lastWord(*rest);
  const auto minutes = plainMinutes(number);
  if (!minutes) return std::nullopt;
  return Duration{rest->size() - number.size(), *minutes};
}

// ---- Tasks

std::string_view textOr(const std::optional<std::string>& text, std::string_view otherwise) {
  return text ? std::string_view(*text) : otherwise;
}

int rank(const std::optional<TaskPriority>& priority) {
  if (!priority) return 1;
  return *priority == TaskPriority::high ? 0 : 2;
}

bool isOpen(const TaskItem& task) { return task.status != TaskStatus::done; }

int plannedMinutes(const TaskItem& task) { return task.duration.value_or(Planner::defaultDuration); }

// Nullopt for a moment that a Timestamp can't hold.
std::optional<Timestamp> momentOf(Day day, TimeOfDay time, const Calendar& calendar) {
  const Timestamp found = calendar.moment(day, time);
  if (found == Timestamp::min() || found == Timestamp::max()) return std::nullopt;
  return found;
}

// ---- Blocks

// FNV-1a, as eight hexadecimal digits. The place goes first: texts that share a hash are apart again in the next place.
std::string madeID(std::size_t place, std::string_view noteID, std::string_view title) {
  std::uint32_t hash = 2'166'136'261u;
  const auto add = [&hash](std::string_view text) {
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16'777'619u;
  };
  add(std::to_string(place));
  add("\n");
  add(noteID);
  add("\n");
  add(title);
  return fmt::format("{:08x}", hash);
}

// The ids of the tasks' blocks, no two alike.
std::vector<std::string> blockIDs(const std::vector<TaskItem>& tasks) {
  std::vector<std::string> ids(tasks.size());
  std::unordered_set<std::string> taken;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    if (tasks[i].block && taken.insert(*tasks[i].block).second) ids[i] = *tasks[i].block;
  }
  std::unordered_map<std::string, std::size_t> places;  // the next one among a note's tasks of a title
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    const TaskItem& task = tasks[i];
    std::size_t& place = places[task.noteID + "\n" + task.title];
    if (!ids[i].empty()) {
      ++place;
      continue;
    }
    do {
      ids[i] = madeID(place++, task.noteID, task.title);
    } while (!taken.insert(ids[i]).second);
  }
  return ids;
}

bool showsTheSame(const TaskBlock& a, const TaskBlock& b) {
  return a.title == b.title && a.start == b.start && a.minutes == b.minutes;
}

// ---- Changes

using Kind = BlockChange::Kind;

// What is known of one block.
struct Sides {
  const TaskBlock* wanted = nullptr;
  const TaskBlock* existing = nullptr;  // has an event's id
  const std::string* knownEvent = nullptr;

  bool isKnownEvent(const TaskBlock& block) const { return knownEvent != nullptr && block.eventID == *knownEvent; }

  // Of the same block: the known one, else the one whose id comes first.
  bool isBetter(const TaskBlock& event) const {
    if (existing == nullptr) return true;
    if (isKnownEvent(event) != isKnownEvent(*existing)) return isKnownEvent(event);
    return *event.eventID < *existing->eventID;
  }
};

BlockChange change(Kind kind, TaskBlock block, std::optional<std::string> eventID) {
  block.eventID = std::move(eventID);
  return {kind, std::move(block)};
}

void addChangesOfWanted(const TaskBlock& wanted, const Sides& sides, std::vector<BlockChange>& changes) {
  if (sides.existing == nullptr) {
    if (sides.knownEvent == nullptr) return changes.push_back(change(Kind::create, wanted, std::nullopt));
    return changes.push_back(change(Kind::release, wanted, *sides.knownEvent));
  }
  const std::optional<std::string>& eventID = sides.existing->eventID;
  if (!sides.isKnownEvent(*sides.existing)) changes.push_back(change(Kind::adopt, wanted, eventID));
  if (!showsTheSame(wanted, *sides.existing)) changes.push_back(change(Kind::update, wanted, eventID));
}

void addChangesOfUnwanted(const std::string& id, const Sides& sides, std::vector<BlockChange>& changes) {
  if (sides.knownEvent == nullptr) return;
  if (sides.existing != nullptr) return changes.push_back({Kind::remove, *sides.existing});
  changes.push_back(change(Kind::release, {.id = id}, *sides.knownEvent));
}

}  // namespace

namespace TaskDay {

std::string text(Timestamp moment, const Calendar& calendar) { return time::isoDay(calendar.day(moment)); }

std::optional<Timestamp> date(std::string_view text, const Calendar& calendar) {
  const std::optional<Day> day = time::parseDay(text);
  return day ? momentOf(*day, {}, calendar) : std::nullopt;
}

}  // namespace TaskDay

namespace Planner {

std::string entry(std::string_view typed) {
  const std::string_view text = text::trimWhitespace(typed);
  const std::optional<Duration> duration = durationAtEnd(text);
  if (!duration || duration->minutes < 1 || duration->begin == 0) return std::string(text);
  return fmt::format("{} #dur/{}", text::trimWhitespace(text.substr(0, duration->begin)), duration->minutes);
}

std::vector<TaskItem> tasks(const std::vector<TaskItem>& tasks, Day day) {
  const std::string wanted = time::isoDay(day);
  std::vector<TaskItem> found;
  std::ranges::copy_if(tasks, std::back_inserter(found), [&](const TaskItem& task) { return task.due == wanted; });
  std::ranges::stable_sort(found, {}, [](const TaskItem& task) {
    return std::tuple(textOr(task.start, "99"), rank(task.priority), std::string_view(task.title));
  });
  return found;
}

std::vector<TaskItem> backlog(const std::vector<TaskItem>& tasks, Day today) {
  const std::string limit = time::isoDay(today);
  std::vector<TaskItem> found;
  std::ranges::copy_if(tasks, std::back_inserter(found),
                       [&](const TaskItem& task) { return isOpen(task) && textOr(task.due, "") < limit; });
  std::ranges::stable_sort(
      found, {}, [](const TaskItem& task) { return std::pair(textOr(task.due, "9"), std::string_view(task.title)); });
  return found;
}

std::int64_t minutes(const std::vector<TaskItem>& tasks) {
  std::int64_t sum = 0;
  for (const TaskItem& task : tasks) {
    if (isOpen(task)) sum += plannedMinutes(task);
  }
  return sum;
}

std::optional<Timestamp> moment(const std::optional<std::string>& due, const std::optional<std::string>& at,
                                const Calendar& calendar) {
  const std::optional<Day> day = time::parseDay(textOr(due, ""));
  const std::optional<TimeOfDay> time = time::parseTimeOfDay(textOr(at, ""));
  return day && time ? momentOf(*day, *time, calendar) : std::nullopt;
}

std::optional<Timestamp> start(const TaskItem& task, const Calendar& calendar) {
  return moment(task.due, task.start, calendar);
}

std::vector<TaskBlock> blocks(const std::vector<TaskItem>& tasks, Day from, Day to, const Calendar& calendar) {
  const std::string first = time::isoDay(from);
  const std::string last = time::isoDay(to);
  std::vector<std::string> ids = blockIDs(tasks);
  std::vector<TaskBlock> found;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    const TaskItem& task = tasks[i];
    if (!isOpen(task) || !task.due || *task.due < first || *task.due > last) continue;
    const std::optional<Timestamp> begin = start(task, calendar);
    if (!begin) continue;
    found.push_back({std::move(ids[i]), task.title, *begin, plannedMinutes(task), std::nullopt});
  }
  std::ranges::stable_sort(found, {}, &TaskBlock::start);
  return found;
}

std::vector<BlockChange> reconcile(const std::vector<TaskBlock>& wanted, const std::vector<TaskBlock>& existing,
                                   const std::map<std::string, std::string>& known) {
  std::map<std::string, Sides> blocks;
  for (const auto& [id, eventID] : known) blocks[id].knownEvent = &eventID;
  for (const TaskBlock& block : wanted) {
    Sides& sides = blocks[block.id];
    if (sides.wanted == nullptr) sides.wanted = &block;
  }
  for (const TaskBlock& event : existing) {
    if (!event.eventID) continue;
    Sides& sides = blocks[event.id];
    if (sides.isBetter(event)) sides.existing = &event;
  }
  std::vector<BlockChange> changes;
  for (const auto& [id, sides] : blocks) {
    if (sides.wanted != nullptr) addChangesOfWanted(*sides.wanted, sides, changes);
    if (sides.wanted == nullptr) addChangesOfUnwanted(id, sides, changes);
  }
  return changes;
}

}  // namespace Planner

}  // namespace vesk
