#include "core/diagrams/Diagram.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "core/base/Ascii.h"
#include "core/base/Uuid.h"

namespace vesk {

namespace {

constexpr std::array<std::string_view, 5> namesOfShapes = {"rectangle", "ellipse", "diamond", "sticky", "text"};
constexpr std::array<std::string_view, 4> namesOfSides = {"top", "right", "bottom", "left"};
constexpr std::array<std::string_view, 2> namesOfLines = {"curved", "elbow"};

// The case of that name; the names are in the order of the cases.
template <typename Case, std::size_t count>
std::optional<Case> caseNamed(const std::array<std::string_view, count>& names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<Case>(std::distance(names.begin(), found));
}

bool isHexDigit(char c) { return ascii::hexValue(c) >= 0; }

void include(std::optional<Rect>& united, const std::optional<Rect>& other) {
  if (other) united = united ? united->unitedWith(*other) : *other;
}

}  // namespace

std::string_view name(DiagramShape shape) { return namesOfShapes[static_cast<std::size_t>(shape)]; }
std::string_view name(DiagramSide side) { return namesOfSides[static_cast<std::size_t>(side)]; }
std::string_view name(DiagramLine line) { return namesOfLines[static_cast<std::size_t>(line)]; }

std::optional<DiagramShape> shapeNamed(std::string_view name) { return caseNamed<DiagramShape>(namesOfShapes, name); }
std::optional<DiagramSide> sideNamed(std::string_view name) { return caseNamed<DiagramSide>(namesOfSides, name); }
std::optional<DiagramLine> lineNamed(std::string_view name) { return caseNamed<DiagramLine>(namesOfLines, name); }

std::vector<std::string_view> shapeNames() { return {namesOfShapes.begin(), namesOfShapes.end()}; }

bool isDiagramColor(std::string_view color) {
  if (color.size() == 1) return color[0] >= '1' && color[0] <= '6';
  return color.size() == 7 && color[0] == '#' && std::all_of(color.begin() + 1, color.end(), isHexDigit);
}

bool fitsDiagram(double value) { return value >= -0x1p63 && value < 0x1p63; }

std::string_view DiagramNode::label() const {
  if (text) return *text;
  for (const std::string_view key : {"label", "file", "url"}) {
    const auto extra = extras.find(key);
    if (extra != extras.end() && extra->second.string()) return *extra->second.string();
  }
  return {};
}

Point anchor(const Rect& frame, DiagramSide side) {
  const Point middle = frame.center();
  switch (side) {
    case DiagramSide::top: return {middle.x, frame.minY()};
    case DiagramSide::right: return {frame.maxX(), middle.y};
    case DiagramSide::bottom: return {middle.x, frame.maxY()};
    case DiagramSide::left: return {frame.minX(), middle.y};
  }
  return middle;
}

std::optional<Rect> DiagramStroke::bounds() const {
  std::optional<Rect> united;
  for (const Point& point : points) include(united, Rect{point.x, point.y});
  return united;
}

const DiagramNode* Diagram::node(std::string_view id) const {
  const auto found = std::find_if(nodes.begin(), nodes.end(), [&](const DiagramNode& node) { return node.id == id; });
  return found == nodes.end() ? nullptr : &*found;
}

const DiagramNode* Diagram::node(const Point& at) const {
  const auto holds = [&](const DiagramNode& node) { return node.frame().contains(at); };
  const auto found = std::find_if(nodes.rbegin(), nodes.rend(), holds);
  return found == nodes.rend() ? nullptr : &*found;
}

std::optional<Rect> Diagram::bounds() const {
  std::optional<Rect> united;
  for (const DiagramNode& node : nodes) include(united, node.frame());
  for (const DiagramStroke& stroke : strokes) include(united, stroke.bounds());
  return united;
}

std::string Diagram::newID() {
  std::string id = newUuid();
  std::erase(id, '-');
  return id.substr(0, 16);
}

// ---- Summary

Json summaryOf(const DiagramNode& node) {
  Json summary;
  summary["id"] = node.id;
  summary["type"] = node.type;
  summary["text"] = node.label();
  summary["shape"] = name(node.shape);
  summary["x"] = node.x;
  summary["y"] = node.y;
  summary["width"] = node.width;
  summary["height"] = node.height;
  if (node.color) summary["color"] = *node.color;
  return summary;
}

Json summaryOf(const DiagramEdge& edge) {
  Json summary;
  summary["id"] = edge.id;
  summary["from"] = edge.from;
  summary["to"] = edge.to;
  summary["line"] = name(edge.line);
  summary["start_arrow"] = edge.hasStartArrow;
  summary["end_arrow"] = edge.hasEndArrow;
  if (edge.label) summary["label"] = *edge.label;
  if (edge.color) summary["color"] = *edge.color;
  return summary;
}

Json summaryOf(const DiagramStroke& stroke) {
  Json::Array points;
  for (const Point& point : stroke.points) points.emplace_back(Json::Array{point.x, point.y});
  Json summary;
  summary["id"] = stroke.id;
  summary["points"] = std::move(points);
  summary["width"] = stroke.width;
  if (stroke.color) summary["color"] = *stroke.color;
  return summary;
}

Json Diagram::summary() const {
  const auto summaries = [](const auto& items) {
    Json::Array list;
    for (const auto& item : items) list.push_back(summaryOf(item));
    return list;
  };
  Json summary;
  summary["nodes"] = summaries(nodes);
  summary["edges"] = summaries(edges);
  summary["strokes"] = summaries(strokes);
  return summary;
}

}  // namespace vesk
