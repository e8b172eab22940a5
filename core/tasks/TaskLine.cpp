#include "core/tasks/TaskLine.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Folder.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

constexpr std::array<std::string_view, 3> statusNames = {"todo", "doing", "done"};
constexpr std::array<std::string_view, 2> priorityNames = {"high", "low"};

template <typename Value, std::size_t count>
std::optional<Value> named(const std::array<std::string_view, count>& names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  return found == names.end() ? std::nullopt : std::optional(static_cast<Value>(found - names.begin()));
}

}  // namespace

std::string_view name(TaskStatus status) { return statusNames[static_cast<std::size_t>(status)]; }
std::string_view name(TaskPriority priority) { return priorityNames[static_cast<std::size_t>(priority)]; }
std::optional<TaskStatus> taskStatusNamed(std::string_view name) { return named<TaskStatus>(statusNames, name); }
std::optional<TaskPriority> taskPriorityNamed(std::string_view name) {
  return named<TaskPriority>(priorityNames, name);
}

namespace TaskLine {

namespace {

constexpr std::size_t none = std::string_view::npos;

// ---- The box

struct Box {
  std::string_view indent = {};
  bool isChecked = false;
  std::string_view text = {};    // what stands behind it
  std::string_view ending = {};  // the line terminator after that
};

// The bytes of the line terminator at `at`, as regular expressions know them; 0 when there is none.
std::size_t terminatorAt(std::string_view text, std::size_t at) {
  const char c = text[at];
  if (c >= '\n' && c <= '\r') return text.substr(at).starts_with("\r\n") ? 2 : 1;
  if (c == '\xC2' && text.substr(at).starts_with("\xC2\x85")) return 2;
  const bool isSeparator = c == '\xE2' && at + 2 < text.size() && text[at + 1] == '\x80' &&
                           (text[at + 2] == '\xA8' || text[at + 2] == '\xA9');
  return isSeparator ? 3 : 0;
}

bool mayTerminate(char c) { return (c >= '\n' && c <= '\r') || c == '\xC2' || c == '\xE2'; }

// True when the eight bytes there are all from 0x10 to 0x7F: nothing that a line terminator begins with.
bool areOrdinary(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  constexpr std::uint64_t high = 0x8080'8080'8080'8080;
  constexpr std::uint64_t least = 0x1010'1010'1010'1010;
  return (((word - least) | word) & high) == 0;
}

// Where the first line terminator begins, or the text ends.
std::size_t endOfText(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (text.size() - at >= 8 && areOrdinary(text.data() + at)) {
      at += 8;
      continue;
    }
    if (mayTerminate(text[at]) && terminatorAt(text, at) > 0) return at;
    ++at;
  }
  return text.size();
}

std::size_t endOfIndent(std::string_view line) {
  std::size_t at = 0;
  while (at < line.size()) {
    const auto next = unicode::decode(line, at);
    if (!unicode::isWhitespace(next.value)) break;
    at += next.length;
  }
  return at;
}

std::optional<Box> boxOf(std::string_view line) {
  constexpr std::string_view open = "- [";
  constexpr std::string_view close = "] ";
  const std::size_t hyphen = endOfIndent(line);
  const std::size_t mark = hyphen + open.size();
  if (!line.substr(hyphen).starts_with(open) || line.size() <= mark + close.size()) return std::nullopt;
  if (line.substr(mark + 1, close.size()) != close) return std::nullopt;
  if (line[mark] != ' ' && line[mark] != 'x' && line[mark] != 'X') return std::nullopt;
  const std::string_view rest = line.substr(mark + 1 + close.size());
  const std::size_t end = endOfText(rest);
  // A terminator ends the line, and nothing may follow it.
  if (end < rest.size() && terminatorAt(rest, end) != rest.size() - end) return std::nullopt;
  return Box{line.substr(0, hyphen), line[mark] != ' ', rest.substr(0, end), rest.substr(end)};
}

// Where the line begins whose first box this "[" may open; none when other things stand before it.
std::size_t beginOfLine(std::string_view text, std::size_t bracket) {
  if (bracket < 2 || text.substr(bracket - 2, 2) != "- ") return none;
  std::size_t at = bracket - 2;
  while (at > 0 && text[at - 1] != '\n') {
    const auto before = unicode::decodeBefore(text, at);
    if (!unicode::isWhitespace(before.value)) return none;
    at -= before.length;
  }
  return at;
}

// ---- Control tags

// True when `c` may stand where a shape has `expected`: "0" stands for a decimal digit of any script, "x" for a
// hexadecimal one, and everything else for itself.
bool fits(char32_t c, char expected) {
  if (expected == '0') return unicode::isDigit(c);
  if (expected == 'x') return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
  return c == static_cast<unsigned char>(expected);
}

// Where the text of that shape that begins at `at` ends; none when there is none.
std::size_t endOfShape(std::string_view text, std::size_t at, std::string_view shape) {
  for (const char expected : shape) {
    if (at >= text.size()) return none;
    const auto next = unicode::decode(text, at);
    if (!fits(next.value, expected)) return none;
    at += next.length;
  }
  return at;
}

int minutesOf(std::string_view digits) {
  int value = 0;
  for (std::size_t at = 0; at < digits.size();) {
    const auto next = unicode::decode(digits, at);
    value = 10 * value + unicode::digitValue(next.value);
    at += next.length;
  }
  return value;
}

struct TagKind {
  std::string_view prefix = {};                 // after the "#"
  std::array<std::string_view, 4> shapes = {};  // of its value, a longer one before its beginning
  void (*set)(Parts&, std::string_view value) = nullptr;
};

constexpr std::string_view statusPrefix = "status/";
constexpr std::string_view duePrefix = "due/";

// Of a checked box "doing" says nothing.
constexpr TagKind tagKinds[] = {
    {statusPrefix,
     {"doing"},
     [](Parts& parts, std::string_view) {
       if (parts.status == TaskStatus::todo) parts.status = TaskStatus::doing;
     }},
    {duePrefix, {"0000-00-00"}, [](Parts& parts, std::string_view value) { parts.due = value; }},
    {"prio/", {"high", "low"}, [](Parts& parts, std::string_view value) { parts.priority = taskPriorityNamed(value); }},
    {"remind/", {"00:00"}, [](Parts& parts, std::string_view value) { parts.reminder = value; }},
    {"dur/",
     {"0000", "000", "00", "0"},
     [](Parts& parts, std::string_view value) { parts.duration = minutesOf(value); }},
    {"at/", {"00:00"}, [](Parts& parts, std::string_view value) { parts.start = value; }},
    {"block/", {"xxxxxxxx"}, [](Parts& parts, std::string_view value) { parts.block = value; }},
};

// A tag is whole: it is not glued to a word behind it, nor the beginning of a longer tag.
bool mayEndTag(std::string_view text, std::size_t end) {
  if (end == text.size()) return true;
  const char32_t next = unicode::decode(text, end).value;
  return next != '/' && next != '-' && !unicode::isWord(next);
}

bool mayBeginTag(std::string_view before) {
  if (before.empty()) return true;
  const char32_t last = unicode::decodeBefore(before, before.size()).value;
  return last != '/' && last != '#' && !unicode::isWord(last);
}

struct ControlTag {
  const TagKind* kind = nullptr;
  std::string_view value = {};
  std::size_t end = 0;
};

// The control tag after the "#" at `hash`; nullopt when no such tag stands there.
std::optional<ControlTag> controlTagAt(std::string_view text, std::size_t hash) {
  const std::string_view rest = text.substr(hash + 1);
  for (const TagKind& kind : tagKinds) {
    if (!rest.starts_with(kind.prefix)) continue;
    const std::size_t value = hash + 1 + kind.prefix.size();
    for (const std::string_view shape : kind.shapes) {
      const std::size_t end = shape.empty() ? none : endOfShape(text, value, shape);
      if (end != none && mayEndTag(text, end)) return ControlTag{&kind, text.substr(value, end - value), end};
    }
  }
  return std::nullopt;
}

// Takes the control tags out of a text: hands on each of them, and the pieces that are left.
template <typename Take, typename Keep>
void takeTags(std::string_view text, Take take, Keep keep) {
  std::size_t begin = 0;  // of what was not handed on yet
  std::size_t run = 0;    // where the tags began that end at `begin`, one touching the other
  for (std::size_t hash = text.find('#'); hash != none; hash = text.find('#', hash + 1)) {
    if (hash != begin) run = hash;
    // What stands before it is looked at without the tags that were taken out.
    const auto tag = mayBeginTag(text.substr(0, run)) ? controlTagAt(text, hash) : std::nullopt;
    if (!tag) continue;
    keep(text.substr(begin, hash - begin));
    take(*tag);
    begin = tag->end;
  }
  keep(text.substr(begin));
}

// ---- Links

// What a reader sees of a link: "[[Plan#Goal|the plan]]" is "the plan".
std::string_view shown(const markdown::Link& link) {
  const std::string_view inside = link.whole.substr(2, link.whole.size() - 4);
  const std::size_t bar = inside.find('|');
  const std::string_view alias = bar == none ? std::string_view() : text::trimSpaces(inside.substr(bar + 1));
  return alias.empty() ? link.target : alias;
}

std::vector<std::string> tagsOf(std::string_view text) {
  std::vector<std::string> tags;
  if (text.find('#') == none) return tags;
  const std::string prose = markdown::prose(text);
  markdown::TagScanner scanner(prose);
  while (const auto match = scanner.next()) tags.emplace_back(match->tag);
  return tags;
}

std::size_t lineBreaksIn(const char* begin, const char* end) {
  return static_cast<std::size_t>(std::count(begin, end, '\n'));
}

}  // namespace

Parts parseText(std::string_view text) {
  Parts parts;
  std::string words;
  takeTags(
      text, [&](const ControlTag& tag) { tag.kind->set(parts, tag.value); },
      [&](std::string_view piece) { words += piece; });
  parts.text = text::collapseWhitespace(words);
  return parts;
}

std::optional<Parts> parse(std::string_view line) {
  const auto box = boxOf(line);
  if (!box) return std::nullopt;
  Parts parts = parseText(box->text);
  parts.indent = box->indent;
  if (box->isChecked) parts.status = TaskStatus::done;
  return parts;
}

std::optional<Glance> glance(std::string_view line) {
  const auto box = boxOf(line);
  if (!box) return std::nullopt;
  Glance glance{.status = box->isChecked ? TaskStatus::done : TaskStatus::todo};
  takeTags(
      box->text,
      [&](const ControlTag& tag) {
        if (tag.kind->prefix == duePrefix) glance.due = tag.value;
        if (tag.kind->prefix == statusPrefix && !box->isChecked) glance.status = TaskStatus::doing;
      },
      [&](std::string_view piece) { glance.hasText = glance.hasText || !text::trimWhitespace(piece).empty(); });
  return glance;
}

bool isControlTag(std::string_view tag) {
  const std::string text = fmt::format("#{}", tag);
  const auto found = controlTagAt(text, 0);
  return found && found->end == text.size();
}

std::string render(const Parts& parts) {
  std::string line = fmt::format("{}- [{}] {}", parts.indent, parts.status == TaskStatus::done ? 'x' : ' ', parts.text);
  const auto add = [&](std::string_view tag, std::string_view value) { line.append(" #").append(tag).append(value); };
  if (parts.status == TaskStatus::doing) add("status/", "doing");
  if (parts.due) add("due/", *parts.due);
  if (parts.reminder) add("remind/", *parts.reminder);
  if (parts.priority) add("prio/", name(*parts.priority));
  if (parts.duration) add("dur/", std::to_string(*parts.duration));
  if (parts.start) add("at/", *parts.start);
  if (parts.block) add("block/", *parts.block);
  return line;
}

std::string_view ending(std::string_view line) {
  const auto box = boxOf(line);
  return box ? box->ending : std::string_view();
}

std::string plainLinks(std::string_view text) {
  std::string plain;
  std::size_t begin = 0;
  markdown::LinkScanner scanner(text);
  while (const auto link = scanner.next()) {
    const auto offset = static_cast<std::size_t>(link->whole.data() - text.data());
    plain.append(text.substr(begin, offset - begin)).append(shown(*link));
    begin = offset + link->whole.size();
  }
  return plain.append(text.substr(begin));
}

std::optional<TaskItem> task(std::string_view line) {
  auto parts = parse(line);
  if (!parts) return std::nullopt;
  TaskItem item;
  item.rawLine = line;
  item.status = parts->status;
  item.due = std::move(parts->due);
  item.priority = parts->priority;
  item.reminder = std::move(parts->reminder);
  item.duration = parts->duration;
  item.start = std::move(parts->start);
  item.block = std::move(parts->block);
  item.text = std::move(parts->text);
  item.title = plainLinks(item.text);
  item.tags = tagsOf(item.text);
  if (const auto link = markdown::LinkScanner(item.text).next()) item.linkedNote = link->target;
  return item;
}

std::optional<std::string> noteName(std::string_view line) {
  if (line.find("[[") == none) return std::nullopt;
  const auto item = task(line);
  if (!item || !item->linkedNote) return std::nullopt;
  return text::key(lastComponent(*item->linkedNote));
}

std::optional<std::string_view> Scanner::next() {
  for (std::size_t box = body_.find('[', position_); box != none; box = body_.find('[', position_)) {
    position_ = box + 1;
    const std::size_t begin = beginOfLine(body_, box);
    if (begin == none || isCode(begin)) continue;
    const std::size_t end = std::min(body_.find('\n', box), body_.size());
    position_ = end;
    return body_.substr(begin, end - begin);
  }
  return std::nullopt;
}

bool Scanner::isCode(std::size_t line) {
  while (fence_ != none && fence_ < line) {
    isFenced_ = !isFenced_;
    fence_ = markdown::nextFence(body_, std::min(body_.find('\n', fence_), body_.size()));
  }
  return isFenced_;
}

std::vector<TaskItem> tasks(std::string_view text, const Place& place, const Wanted& wanted) {
  const std::string_view body = MarkdownView(text).body;
  const std::size_t firstLine = lineBreaksIn(text.data(), text.data() + (text.size() - body.size()));
  return tasksOfBody(body, firstLine, place, wanted);
}

std::vector<TaskItem> tasksOfBody(std::string_view body, std::size_t firstLine, const Place& place,
                                  const Wanted& wanted) {
  std::vector<TaskItem> found;
  std::size_t index = 0;
  std::size_t number = firstLine;
  const char* counted = body.data();  // up to where the lines are
  Scanner scanner(body);
  while (const auto line = scanner.next()) {
    if (!boxOf(*line)) continue;
    if (const std::size_t own = index++; wanted && !wanted(own)) continue;
    number += lineBreaksIn(counted, line->data());
    counted = line->data();
    TaskItem item = *task(*line);
    item.noteID = place.noteID;
    item.noteTitle = place.noteTitle;
    item.folderPath = parentPath(place.noteID);
    item.bucket = place.bucket;
    item.line = number;
    found.push_back(std::move(item));
  }
  return found;
}

}  // namespace TaskLine

}  // namespace vesk
