// Applying change sets.

#include <algorithm>
#include <cmath>
#include <map>
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
  if (!number || !fitsDiagram(*number)) throw DiagramChangeError(fmt::format("{} is too large a number.", what));
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

std::vector<std::string_view> idsOf(const Json& changes, std::string_view key) {
  std::vector<std::string_view> ids;
  for (const Json& id : listOf(changes, key, [](const Json& element) { return element.string() != nullptr; }))
    ids.push_back(*id.string());
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

double toTenth(double value) { return std::round(value * 10) / 10 + 0.0; }  // + 0.0: never -0

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

// ---- Finding by id

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

using IDs = std::unordered_set<std::string_view>;

// Removes everything with one of the ids, and returns these.
template <typename Item>
IDs removeAll(std::vector<Item>& items, const std::vector<std::string_view>& ids, const char* what) {
  if (ids.empty()) return {};
  IDs present;
  for (const Item& item : items) present.insert(item.id);
  for (const std::string_view id : ids)
    if (!present.contains(id)) throw DiagramChangeError(fmt::format("No {} has the id {}.", what, id));
  IDs removed(ids.begin(), ids.end());
  std::erase_if(items, [&](const Item& item) { return removed.contains(item.id); });
  return removed;
}

// ---- What is passed over

enum class Kind { text, number, flag, list };

using Members = std::map<std::string_view, Kind>;

Members with(Members members, const Members& more) {
  members.insert(more.begin(), more.end());
  return members;
}

// What the objects of each list hold.
std::map<std::string_view, Members> objectLists() {
  const Members node = {{"id", Kind::text},  {"text", Kind::text}, {"shape", Kind::text},   {"color", Kind::text},
                        {"x", Kind::number}, {"y", Kind::number},  {"width", Kind::number}, {"height", Kind::number}};
  const Members edge = {{"from_side", Kind::text}, {"to_side", Kind::text}, {"label", Kind::text},
                        {"line", Kind::text},      {"color", Kind::text},   {"start_arrow", Kind::flag},
                        {"end_arrow", Kind::flag}};
  const Members stroke = {{"points", Kind::list}, {"color", Kind::text}, {"width", Kind::number}};
  return {{"add_nodes", node},
          {"update_nodes", node},
          {"add_edges", with({{"from", Kind::text}, {"to", Kind::text}}, edge)},
          {"update_edges", with({{"id", Kind::text}}, edge)},
          {"add_strokes", stroke}};
}

bool isTaken(const Members& members, std::string_view name, const Json& value) {
  const auto member = members.find(name);
  if (member == members.end()) return false;
  switch (member->second) {
    case Kind::text: return value.string() != nullptr;
    case Kind::number: return value.number() != nullptr;
    case Kind::flag: return value.boolean().has_value();
    case Kind::list: return value.array() != nullptr;
  }
  return false;
}

// Whether there is something under that key of which nothing is taken.
bool isIgnored(const Json& changes, std::string_view key, bool isTaken) {
  const Json* value = changes.find(key);
  const bool isEmpty = !value || value->isNull() || (value->array() && value->array()->empty());
  return !isEmpty && !isTaken;
}

// ---- Applying

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
    const IDs removed = removeAll(diagram_.nodes, idsOf(changes_, "remove_nodes"), "node");
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
  std::vector<std::string> ignored;
  for (const char* key : {"remove_nodes", "remove_edges", "remove_strokes"})
    if (isIgnored(changes, key, !idsOf(changes, key).empty())) ignored.emplace_back(key);
  for (const auto& [key, members] : objectLists()) {
    const List objects = objectsOf(changes, key);
    if (isIgnored(changes, key, !objects.empty())) ignored.emplace_back(key);
    for (std::size_t i = 0; i < objects.size(); ++i)
      for (const auto& [name, value] : *objects[i].object())
        if (!value.isNull() && !isTaken(members, name, value))
          ignored.push_back(fmt::format("{}[{}].{}", key, i, name));
  }
  return ignored;
}

DiagramAdditions Diagram::apply(const Json& changes, const NewID& newID) {
  Diagram changed = *this;
  DiagramAdditions additions = ChangeSet(changed, changes, newID).apply();
  *this = std::move(changed);
  return additions;
}

}  // namespace vesk
