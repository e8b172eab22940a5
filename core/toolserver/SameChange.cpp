#include "core/toolserver/SameChange.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/DiffLine.h"
#include "core/diagrams/Diagram.h"

namespace vesk {

namespace {

using Kind = DiffLine::Kind;

// A text that ends in a line break has the same lines as one that does not.
std::string_view lines(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  return text;
}

std::vector<DiffLine> diffOf(const TextChange& change) {
  return DiffLine::compare(lines(change.before), lines(change.after));
}

// A line that is removed or added, with the number of lines of the text before that stand in front of it.
struct Step {
  Kind kind = Kind::added;
  std::size_t behind = 0;
  std::string text = {};
};

std::vector<Step> stepsOf(const TextChange& change) {
  std::vector<Step> steps;
  std::size_t behind = 0;
  for (DiffLine& line : diffOf(change)) {
    if (line.kind != Kind::same) steps.push_back({line.kind, behind, std::move(line.text)});
    if (line.kind != Kind::added) ++behind;
  }
  return steps;
}

// Where the lines of a text are after a change; nullopt for those that are gone. One more for the text's end.
std::vector<std::optional<std::size_t>> movedLines(const TextChange& change) {
  std::vector<std::optional<std::size_t>> moved;
  std::size_t now = 0;
  for (const DiffLine& line : diffOf(change)) {
    if (line.kind == Kind::same) moved.emplace_back(now);
    if (line.kind == Kind::removed) moved.emplace_back();
    if (line.kind != Kind::removed) ++now;
  }
  moved.emplace_back(now);
  return moved;
}

// What a diagram is made of: by what it is and its id, how it stands in the file. Things of one id count as one.
using Things = std::map<std::string, std::string>;

Things thingsOf(const Diagram& diagram) {
  Things things;
  for (const DiagramNode& node : diagram.nodes) things["node " + node.id] += toJson(node).compact();
  for (const DiagramEdge& edge : diagram.edges) things["edge " + edge.id] += toJson(edge).compact();
  for (const DiagramStroke& stroke : diagram.strokes) things["stroke " + stroke.id] += toJson(stroke).compact();
  return things;
}

// Takes what is new to where it would be without anything beside it.
void forgetNewPlaces(Diagram& diagram, const Things& known) {
  for (DiagramNode& node : diagram.nodes)
    if (!known.contains("node " + node.id)) node.x = node.y = 0;
  for (DiagramEdge& edge : diagram.edges)
    if (!known.contains("edge " + edge.id)) edge.fromSide = edge.toSide = std::nullopt;
}

// What a change makes of each thing that it touches: how it stood, and how it stands then; "" where it doesn't.
using Touched = std::map<std::string, std::pair<std::string, std::string>>;

Touched touchedBy(const TextChange& change) {
  const Things before = thingsOf(Diagram::parse(change.before));
  Diagram diagram = Diagram::parse(change.after);
  forgetNewPlaces(diagram, before);
  const Things after = thingsOf(diagram);
  Touched touched;
  for (const auto& [thing, json] : before) touched[thing].first = json;
  for (const auto& [thing, json] : after) touched[thing].second = json;
  std::erase_if(touched, [](const auto& each) { return each.second.first == each.second.second; });
  return touched;
}

}  // namespace

bool isSameChange(const TextChange& earlier, const TextChange& later, const TextChange& between) {
  const auto was = stepsOf(earlier);
  const auto is = stepsOf(later);
  const auto moved = movedLines(between);
  if (was.size() != is.size()) return false;
  for (std::size_t i = 0; i < was.size(); ++i) {
    if (was[i].kind != is[i].kind || was[i].text != is[i].text) return false;
    const std::size_t place = was[i].behind;
    const bool isBefore = moved[place] == is[i].behind;  // the line it stood before, or was itself
    const bool isAfter =
        was[i].kind == Kind::added && place > 0 && moved[place - 1] && *moved[place - 1] + 1 == is[i].behind;
    if (!isBefore && !isAfter) return false;
  }
  return true;
}

bool isSameDiagramChange(const TextChange& earlier, const TextChange& later) {
  try {
    return touchedBy(earlier) == touchedBy(later);
  } catch (const Error&) {
    return false;  // it is no diagram any more
  }
}

}  // namespace vesk
