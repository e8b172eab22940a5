#include "app/DiffView.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "app/DiagramOutline.h"
#include "core/base/Error.h"
#include "core/diagrams/DiagramFiles.h"

namespace vesk::app {

namespace {

using Kind = DiffLine::Kind;
using Lines = std::vector<DiffLine>;

constexpr std::size_t context = 3;  // lines

// None of a text that isn't there; nullopt of one that is no diagram.
std::optional<std::vector<OutlineLine>> outlineOf(std::string_view text) {
  if (text.empty()) return std::vector<OutlineLine>();
  try {
    return outlineLines(Diagram::parse(text));
  } catch (const Error&) {
    return std::nullopt;
  }
}

// An outline doesn't tell everything: ids, sides that are as usual, the points of a drawing, what other editors wrote.
// Marks the lines that look as they did and yet stand for something else.
void markHiddenChanges(const std::vector<OutlineLine>& before, std::vector<OutlineLine>& after) {
  std::map<std::string, std::multiset<std::string>> items;  // of the lines before, by what they show
  for (const OutlineLine& line : before) items[shownLine(line)].insert(line.item);
  std::vector<OutlineLine*> others;
  for (OutlineLine& line : after) {
    const auto same = items.find(shownLine(line));
    if (same == items.end()) continue;
    const auto item = same->second.find(line.item);
    if (item != same->second.end()) {
      same->second.erase(item);
    } else {
      others.push_back(&line);
    }
  }
  for (OutlineLine* line : others)
    if (!items.at(shownLine(*line)).empty()) line->details += line->details.empty() ? "changed" : ", otherwise changed";
}

std::string textOf(const std::vector<OutlineLine>& lines) {
  std::string text;
  for (const OutlineLine& line : lines) text += shownLine(line) + "\n";
  return text;
}

// Texts that are too long to be compared come as one removed and the other added. The lines that they begin and end
// with are the same all the same; a diff that was worked out has none of these.
Lines narrowed(const Lines& lines) {
  const auto isRemoved = [](const DiffLine& line) { return line.kind == Kind::removed; };
  const auto isAdded = [](const DiffLine& line) { return line.kind == Kind::added; };
  const auto middle = std::find_if_not(lines.begin(), lines.end(), isRemoved);
  if (!std::all_of(middle, lines.end(), isAdded)) return lines;
  const auto sameText = [](const DiffLine& a, const DiffLine& b) { return a.text == b.text; };
  const auto [before, after] = std::mismatch(lines.begin(), middle, middle, lines.end(), sameText);
  const auto [endOfAfter, endOfBefore] =
      std::mismatch(lines.rbegin(), std::make_reverse_iterator(after), std::make_reverse_iterator(middle),
                    std::make_reverse_iterator(before), sameText);
  Lines narrow;
  for (auto line = lines.begin(); line != before; ++line) narrow.push_back({Kind::same, line->text});
  narrow.insert(narrow.end(), before, endOfBefore.base());
  narrow.insert(narrow.end(), after, endOfAfter.base());
  for (auto line = endOfBefore.base(); line != middle; ++line) narrow.push_back({Kind::same, line->text});
  return narrow;
}

// What follows the last line break of a text counts as a line, and is none to a reader.
void dropEnds(Lines& lines) {
  if (!lines.empty() && lines.back() == DiffLine{}) return lines.pop_back();
  for (const auto& [kind, other] : {std::pair(Kind::removed, Kind::added), {Kind::added, Kind::removed}}) {
    const auto last = std::find_if(lines.rbegin(), lines.rend(),
                                   [other = other](const DiffLine& line) { return line.kind != other; });
    if (last != lines.rend() && *last == DiffLine{kind}) lines.erase(std::next(last).base());
  }
}

// Which lines are shown: the changed ones, and those around them.
std::vector<bool> shownLines(const Lines& lines) {
  std::vector<bool> shown(lines.size(), false);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].kind == Kind::same) continue;
    const std::size_t end = std::min(i + context + 1, lines.size());
    for (std::size_t j = i - std::min(i, context); j < end; ++j) shown[j] = true;
  }
  return shown;
}

std::string lineText(const DiffLine& line, const Terminal& terminal) {
  std::string_view text = line.text;
  if (text.ends_with('\r')) text.remove_suffix(1);
  switch (line.kind) {
    case Kind::added: return styled("+ " + safe(text), Style::good, terminal);
    case Kind::removed: return styled("- " + safe(text), Style::bad, terminal);
    case Kind::same: return "  " + safe(text);
  }
  return "";
}

}  // namespace

TextKind kindOf(std::string_view path) { return path.ends_with(diagramEnding) ? TextKind::diagram : TextKind::note; }

Lines compared(std::string_view before, std::string_view after, TextKind kind) {
  if (kind == TextKind::note) return DiffLine::compare(before, after);
  const auto outlineBefore = outlineOf(before);
  auto outlineAfter = outlineOf(after);
  if (!outlineBefore || !outlineAfter) return DiffLine::compare(before, after);
  markHiddenChanges(*outlineBefore, *outlineAfter);
  return DiffLine::compare(textOf(*outlineBefore), textOf(*outlineAfter));
}

std::string diffText(const std::vector<DiffLine>& lines, const Terminal& terminal) {
  Lines all = narrowed(lines);
  dropEnds(all);
  const std::vector<bool> shown = shownLines(all);
  std::string text;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (shown[i]) text += lineText(all[i], terminal) + "\n";
    const bool beginsGap = !shown[i] && (i == 0 || shown[i - 1]);
    if (beginsGap) text += styled("…", Style::faint, terminal) + "\n";
  }
  return std::find(shown.begin(), shown.end(), true) == shown.end() ? "" : text;
}

}  // namespace vesk::app
