// Change sets: one JSON object that removes, changes and adds nodes, connections and drawings at once. Each of its keys
// may be missing; a value that isn't of the kind it should be counts as missing.
//
// | key                                            | value                                                           |
// |------------------------------------------------|-----------------------------------------------------------------|
// | remove_edges, remove_strokes, remove_nodes     | ids; a node's connections go with it                            |
// | update_nodes, add_nodes                        | objects of id, text, shape, color, x, y, width, height          |
// | update_edges                                   | objects of id, from_side, to_side, label, line, color,          |
// |                                                | start_arrow, end_arrow                                          |
// | add_edges                                      | likewise, with from and to in place of the id                   |
// | add_strokes                                    | objects of points, color, width                                 |
// | direction                                      | "right" or "down": how nodes without x and y are laid out       |

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/diagrams/Diagram.h"
#include "core/diagrams/DiagramLayout.h"

namespace vesk {

namespace {

using diagramLayout::Direction;

// ---- Reading a change set

const std::string* textOf(const Json& object, std::string_view key) {
  const Json* value = object.find(key);
  return value ? value->string() : nullptr;
}

std::optional<bool> flagOf(const Json& object, std::string_view key) {
  const Json* value = object.find(key);
  return value ? value->boolean() : std::nullopt;
}

double checkedNumber(const Json& value, std::string_view what) {
  const auto number = value.real();
  if (!number || !fitsDiagram(*number))
    throw DiagramChangeError(fmt::format("{} must be a number of at most 64 bits.", what));
  return *number;
}

std::optional<double> numberOf(const Json& object, std::string_view key) {
  const Json* value = object.find(key);
  return value && value->number() ? std::optional(checkedNumber(*value, key)) : std::nullopt;
}

using List = std::span<const Json>;

// The array of that key when all of its elements are of that kind; else none.
template <typename IsKind>
List listOf(const Json& changes, std::string_view key, IsKind isKind) {
  const Json* list = changes.find(key);
  const bool isList = list && list->array() && std::all_of(list->array()->begin(), list->array()->end(), isKind);
  return isList ? List(*list->array()) : List();
}

List objectsOf(const Json& changes, std::string_view key) {
  return listOf(changes, key, [](const Json& element) { return element.object() != nullptr; });
}

std::unordered_set<std::string> idsOf(const Json& changes, std::string_view key) {
  std::unordered_set<std::string> ids;
  for (const Json& id : listOf(changes, key, [](const Json& element) { return element.string() != nullptr; }))
    ids.insert(*id.string());
  return ids;
}

// ---- Rules for values

// Sets the colour to the one given; "" clears it.
void takeColor(const Json& object, std::optional<std::string>& color) {
  const std::string* given = textOf(object, "color");
  if (!given) return;
  if (given->empty()) return color.reset();
  if (!isDiagramColor(*given)) throw DiagramChangeError("Color must be a preset from 1 to 6, or #RRGGBB.");
  color = *given;
}

void takeShape(const Json& object, DiagramShape& shape) {
  const std::string* given = textOf(object, "shape");
  if (!given) return;
  const auto named = shapeNamed(*given);
  if (!named) throw DiagramChangeError(fmt::format("Shape must be one of: {}.", fmt::join(shapeNames(), ", ")));
  shape = *named;
}

void takeSide(const Json& object, std::string_view key, std::optional<DiagramSide>& side) {
  const std::string* given = textOf(object, key);
  if (!given) return;
  side = sideNamed(*given);
  if (!side) throw DiagramChangeError("A side must be top, right, bottom or left.");
}

void takeLine(const Json& object, DiagramLine& line) {
  const std::string* given = textOf(object, "line");
  if (!given) return;
  const auto named = lineNamed(*given);
  if (!named) throw DiagramChangeError("Line must be curved or elbow.");
  line = *named;
}

// What a new connection and one that is changed have in common.
void takeSettings(const Json& object, DiagramEdge& edge) {
  if (const std::string* label = textOf(object, "label"))
    edge.label = label->empty() ? std::nullopt : std::optional(*label);
  takeLine(object, edge.line);
  takeColor(object, edge.color);
  edge.hasStartArrow = flagOf(object, "start_arrow").value_or(edge.hasStartArrow);
  edge.hasEndArrow = flagOf(object, "end_arrow").value_or(edge.hasEndArrow);
}

Direction directionOf(const Json& changes) {
  const Json* given = changes.find("direction");
  if (!given || given->isNull()) return Direction::right;
  if (given->string() && *given->string() == "right") return Direction::right;
  if (given->string() && *given->string() == "down") return Direction::down;
  throw DiagramChangeError("Direction must be right or down.");
}

double toTenth(double value) { return std::round(value * 10) / 10; }

// The elements that are two numbers.
std::vector<Point> pointsOf(const Json& object) {
  std::vector<Point> points;
  const Json* list = object.find("points");
  if (!list || !list->array()) return points;
  for (const Json& element : *list->array()) {
    const Json::Array* pair = element.array();
    if (!pair || pair->size() != 2 || !(*pair)[0].number() || !(*pair)[1].number()) continue;
    points.push_back({toTenth(checkedNumber((*pair)[0], "A point")), toTenth(checkedNumber((*pair)[1], "A point"))});
  }
  return points;
}

// Room for a text, in a width that is good to read.
void fitSize(DiagramNode& node) {
  constexpr double characterWidth = 8.5;
  constexpr double rowHeight = 20;
  constexpr double diamondFactor = 1.4;  // a diamond has room only around its middle
  std::vector<double> lengths;
  for (const std::string_view line : text::split(*node.text, '\n'))
    lengths.push_back(static_cast<double>(text::characterCount(line)));
  const double longest = *std::max_element(lengths.begin(), lengths.end());
  node.width = std::clamp(40 + characterWidth * longest, 160.0, 320.0);
  const double perRow = std::max(1.0, (node.width - 32) / characterWidth);
  double rows = 0;
  for (const double length : lengths) rows += std::max(1.0, std::ceil(length / perRow));
  node.height = std::max(80.0, rowHeight * rows + 32);
  if (node.shape != DiagramShape::diamond) return;
  node.width *= diamondFactor;
  node.height *= diamondFactor;
}

// ---- Applying

// Where each id stands; of one that occurs twice, the first.
using Indices = std::unordered_map<std::string, std::size_t>;

template <typename Item>
Indices indicesOf(const std::vector<Item>& items) {
  Indices indices;
  indices.reserve(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) indices.emplace(items[i].id, i);
  return indices;
}

std::size_t indexOf(const Indices& indices, const Json& object, const char* what) {
  const std::string* id = textOf(object, "id");
  const auto found = id ? indices.find(*id) : indices.end();
  if (found == indices.end()) throw DiagramChangeError(fmt::format("No {} has the id {}.", what, id ? *id : ""));
  return found->second;
}

// Removes everything with one of the ids.
template <typename Item>
void removeAll(std::vector<Item>& items, const std::unordered_set<std::string>& ids, const char* what) {
  if (ids.empty()) return;
  std::unordered_set<std::string_view> present;
  for (const Item& item : items) present.insert(item.id);
  for (const std::string& id : ids)
    if (!present.contains(id)) throw DiagramChangeError(fmt::format("No {} has the id {}.", what, id));
  std::erase_if(items, [&](const Item& item) { return ids.contains(item.id); });
}

class ChangeSet {
 public:
  ChangeSet(Diagram& diagram, const Json& changes, const Diagram::NewID& newID)
      : diagram_(diagram), changes_(changes), newID_(newID) {}

  DiagramAdditions apply() {
    remove();
    nodes_ = indicesOf(diagram_.nodes);
    for (const Json& object : objectsOf(changes_, "update_nodes")) updateNode(object);
    updateEdges();
    for (const Json& object : objectsOf(changes_, "add_nodes")) addNode(object);
    addEdges();
    for (const Json& object : objectsOf(changes_, "add_strokes")) addStroke(object);
    diagramLayout::place(diagram_, toPlace_, directionOf(changes_));
    diagramLayout::faceSides(diagram_, additions_.edges);
    return std::move(additions_);
  }

 private:
  void remove() {
    removeAll(diagram_.edges, idsOf(changes_, "remove_edges"), "connection");
    removeAll(diagram_.strokes, idsOf(changes_, "remove_strokes"), "drawing");
    const auto removed = idsOf(changes_, "remove_nodes");
    removeAll(diagram_.nodes, removed, "node");
    if (removed.empty()) return;
    std::erase_if(diagram_.edges,
                  [&](const DiagramEdge& edge) { return removed.contains(edge.from) || removed.contains(edge.to); });
  }

  void updateNode(const Json& object) {
    DiagramNode& node = diagram_.nodes[indexOf(nodes_, object, "node")];
    if (const std::string* text = textOf(object, "text")) {
      if (!node.isEditable()) throw DiagramChangeError("Only text nodes can be edited.");
      node.text = *text;
    }
    takeShape(object, node.shape);
    takeColor(object, node.color);
    node.x = numberOf(object, "x").value_or(node.x);
    node.y = numberOf(object, "y").value_or(node.y);
    node.width = numberOf(object, "width").value_or(node.width);
    node.height = numberOf(object, "height").value_or(node.height);
  }

  void updateEdges() {
    const List objects = objectsOf(changes_, "update_edges");
    if (objects.empty()) return;
    const Indices edges = indicesOf(diagram_.edges);
    for (const Json& object : objects) {
      DiagramEdge& edge = diagram_.edges[indexOf(edges, object, "connection")];
      takeSide(object, "from_side", edge.fromSide);
      takeSide(object, "to_side", edge.toSide);
      takeSettings(object, edge);
    }
  }

  void addNode(const Json& object) {
    DiagramNode node;
    const std::string* id = textOf(object, "id");
    node.id = id ? *id : newID_();
    const std::size_t index = diagram_.nodes.size();
    if (node.id.empty() || !nodes_.emplace(node.id, index).second)
      throw DiagramChangeError(fmt::format("There's already a node with the id {}.", node.id));
    const std::string* text = textOf(object, "text");
    node.text = text ? *text : "";
    takeShape(object, node.shape);
    takeColor(object, node.color);
    fitSize(node);
    node.width = numberOf(object, "width").value_or(node.width);
    node.height = numberOf(object, "height").value_or(node.height);
    const auto x = numberOf(object, "x");
    const auto y = numberOf(object, "y");
    node.x = x.value_or(0);
    node.y = y.value_or(0);
    if (!x || !y) toPlace_.push_back(index);
    additions_.nodes.push_back(index);
    diagram_.nodes.push_back(std::move(node));
  }

  void addEdges() {
    const List objects = objectsOf(changes_, "add_edges");
    if (objects.empty()) return;
    std::unordered_map<std::string, std::unordered_set<std::string>> connected;  // the ends, by the beginnings
    for (const DiagramEdge& edge : diagram_.edges) connected[edge.from].insert(edge.to);
    for (const Json& object : objects) {
      DiagramEdge edge = newEdge(object);
      if (!connected[edge.from].insert(edge.to).second)
        throw DiagramChangeError("Those two nodes are already connected.");
      takeSide(object, "from_side", edge.fromSide);
      takeSide(object, "to_side", edge.toSide);
      takeSettings(object, edge);
      additions_.edges.push_back(diagram_.edges.size());
      diagram_.edges.push_back(std::move(edge));
    }
  }

  DiagramEdge newEdge(const Json& object) const {
    const std::string* from = textOf(object, "from");
    const std::string* to = textOf(object, "to");
    if (!from || !to || !nodes_.contains(*from) || !nodes_.contains(*to))
      throw DiagramChangeError("A connection needs a from and a to that are nodes in this diagram.");
    if (*from == *to) throw DiagramChangeError("A node can't connect to itself.");
    DiagramEdge edge;
    edge.id = newID_();
    edge.from = *from;
    edge.to = *to;
    return edge;
  }

  void addStroke(const Json& object) {
    DiagramStroke stroke;
    stroke.points = pointsOf(object);
    if (stroke.points.size() < 2) throw DiagramChangeError("A drawing needs at least two [x, y] points.");
    stroke.id = newID_();
    stroke.width = numberOf(object, "width").value_or(2.5);
    takeColor(object, stroke.color);
    additions_.strokes.push_back(diagram_.strokes.size());
    diagram_.strokes.push_back(std::move(stroke));
  }

  Diagram& diagram_;
  const Json& changes_;
  const Diagram::NewID& newID_;
  Indices nodes_;
  std::vector<std::size_t> toPlace_;
  DiagramAdditions additions_;
};

}  // namespace

std::vector<std::string> ignoredKeys(const Json& changes) {
  const auto isIgnored = [&](const char* key, bool isTaken) {
    const Json* value = changes.find(key);
    const bool isEmpty = !value || value->isNull() || (value->array() && value->array()->empty());
    return !isEmpty && !isTaken;
  };
  std::vector<std::string> ignored;
  for (const char* key : {"add_nodes", "add_edges", "add_strokes", "update_nodes", "update_edges"})
    if (isIgnored(key, !objectsOf(changes, key).empty())) ignored.emplace_back(key);
  for (const char* key : {"remove_nodes", "remove_edges", "remove_strokes"})
    if (isIgnored(key, !idsOf(changes, key).empty())) ignored.emplace_back(key);
  return ignored;
}

DiagramAdditions Diagram::apply(const Json& changes, const NewID& newID) {
  Diagram changed = *this;
  DiagramAdditions additions = ChangeSet(changed, changes, newID).apply();
  *this = std::move(changed);
  return additions;
}

}  // namespace vesk
