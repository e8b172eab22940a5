#include "core/diagrams/DiagramLayout.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace vesk::diagramLayout {

namespace {

constexpr double gapBetweenLevels = 100;
constexpr double gapWithinLevel = 40;
constexpr double gapToOthers = 100;

// ---- Levels

using Levels = std::vector<std::size_t>;

// The length of the longest way to each node, found in an order in which all links lead forward; nullopt when there
// is none, as some lead in a circle.
std::optional<Levels> longestWays(std::size_t count, const std::vector<Link>& links) {
  std::vector<std::vector<std::size_t>> next(count);
  std::vector<std::size_t> waitsFor(count, 0);
  for (const auto& [from, to] : links) {
    next[from].push_back(to);
    ++waitsFor[to];
  }
  std::vector<std::size_t> order;
  order.reserve(count);
  for (std::size_t node = 0; node < count; ++node)
    if (waitsFor[node] == 0) order.push_back(node);
  Levels levels(count, 0);
  for (std::size_t i = 0; i < order.size(); ++i) {
    for (const std::size_t to : next[order[i]]) {
      levels[to] = std::max(levels[to], levels[order[i]] + 1);
      if (--waitsFor[to] == 0) order.push_back(to);
    }
  }
  return order.size() == count ? std::optional(std::move(levels)) : std::nullopt;
}

// Lifts nodes link by link until none is lifted any more. Where links lead in a circle, what comes out depends on their
// order, and on the round in which each was followed.
Levels liftedInRounds(std::size_t count, const std::vector<Link>& links) {
  constexpr std::size_t mostSteps = 1'000'000'000;  // some seconds
  Levels levels(count, 0);
  bool isLifted = true;
  std::size_t steps = 0;
  for (std::size_t round = 0; isLifted && round < count; ++round) {
    isLifted = false;
    steps += links.size();
    if (steps > mostSteps)
      throw DiagramChangeError("That's too much to lay out at once. Add fewer nodes at a time, or give them x and y.");
    for (const auto& [from, to] : links) {
      if (levels[from] < levels[to] || levels[from] + 1 >= count) continue;
      levels[to] = levels[from] + 1;
      isLifted = true;
    }
  }
  return levels;
}

// ---- Places

// A diagram seen along the way it flows: `main` runs with the flow, `cross` across it.
struct Flow {
  double DiagramNode::*main = nullptr;
  double DiagramNode::*cross = nullptr;
  double DiagramNode::*mainSize = nullptr;
  double DiagramNode::*crossSize = nullptr;
};

constexpr Flow toTheRight = {&DiagramNode::x, &DiagramNode::y, &DiagramNode::width, &DiagramNode::height};
constexpr Flow downward = {&DiagramNode::y, &DiagramNode::x, &DiagramNode::height, &DiagramNode::width};

using Nodes = std::vector<DiagramNode*>;  // in the order in which they are placed

double spanOf(const Nodes& level, const Flow& flow) {
  double sizes = 0;
  for (const DiagramNode* node : level) sizes += node->*flow.crossSize;
  return sizes + gapWithinLevel * static_cast<double>(level.size() - 1);
}

double thicknessOf(const Nodes& level, const Flow& flow) {
  const auto isThinner = [&](const DiagramNode* a, const DiagramNode* b) {
    return a->*flow.mainSize < b->*flow.mainSize;
  };
  return (*std::max_element(level.begin(), level.end(), isThinner))->*flow.mainSize;
}

// Around everything that isn't placed now; nullopt when there is nothing.
std::optional<Rect> occupied(const Diagram& diagram, const std::vector<std::size_t>& placed) {
  std::vector<bool> isPlaced(diagram.nodes.size(), false);
  for (const std::size_t index : placed) isPlaced[index] = true;
  std::optional<Rect> united;
  const auto include = [&](const Rect& rect) { united = united ? united->unitedWith(rect) : rect; };
  for (std::size_t i = 0; i < diagram.nodes.size(); ++i)
    if (!isPlaced[i]) include(diagram.nodes[i].frame());
  for (const DiagramStroke& stroke : diagram.strokes)
    if (const auto bounds = stroke.bounds()) include(*bounds);
  return united;
}

// Where the first level begins, and the widest one begins across the flow.
Point originBeside(const std::optional<Rect>& others, Direction direction) {
  if (!others) return {0, 0};
  return direction == Direction::right ? Point{others->minX(), others->maxY() + gapToOthers}
                                       : Point{others->maxX() + gapToOthers, others->minY()};
}

// The links between the nodes that are placed.
std::vector<Link> linksBetween(const Diagram& diagram, const std::vector<std::size_t>& placed) {
  std::unordered_map<std::string_view, std::size_t> numbers;
  for (std::size_t i = 0; i < placed.size(); ++i) numbers.emplace(diagram.nodes[placed[i]].id, i);
  std::vector<Link> links;
  for (const DiagramEdge& edge : diagram.edges) {
    const auto from = numbers.find(edge.from);
    const auto to = numbers.find(edge.to);
    if (from != numbers.end() && to != numbers.end()) links.emplace_back(from->second, to->second);
  }
  return links;
}

// The nodes of each level, the lowest first.
std::vector<Nodes> nodesByLevel(Diagram& diagram, const std::vector<std::size_t>& placed) {
  const Levels levelOf = levels(placed.size(), linksBetween(diagram, placed));
  std::map<std::size_t, Nodes> byLevel;
  for (std::size_t i = 0; i < placed.size(); ++i) byLevel[levelOf[i]].push_back(&diagram.nodes[placed[i]]);
  std::vector<Nodes> found;
  for (auto& [level, nodes] : byLevel) found.push_back(std::move(nodes));
  return found;
}

}  // namespace

std::vector<std::size_t> levels(std::size_t count, const std::vector<Link>& links) {
  auto found = longestWays(count, links);
  return found ? std::move(*found) : liftedInRounds(count, links);
}

void place(Diagram& diagram, const std::vector<std::size_t>& nodes, Direction direction) {
  if (nodes.empty()) return;
  const Flow flow = direction == Direction::right ? toTheRight : downward;
  const Point origin = originBeside(occupied(diagram, nodes), direction);
  const double crossOrigin = direction == Direction::right ? origin.y : origin.x;
  double main = direction == Direction::right ? origin.x : origin.y;

  const std::vector<Nodes> byLevel = nodesByLevel(diagram, nodes);
  double widest = spanOf(byLevel.front(), flow);
  for (const Nodes& level : byLevel) widest = std::max(widest, spanOf(level, flow));
  for (const Nodes& level : byLevel) {
    double cross = crossOrigin + (widest - spanOf(level, flow)) / 2;
    for (DiagramNode* node : level) {
      node->*flow.main = main;
      node->*flow.cross = cross;
      cross += node->*flow.crossSize + gapWithinLevel;
    }
    main += thicknessOf(level, flow) + gapBetweenLevels;
  }
  for (const std::size_t index : nodes)
    if (!fitsDiagram(diagram.nodes[index].x) || !fitsDiagram(diagram.nodes[index].y))
      throw DiagramChangeError("There's no room left beside what is in this diagram. Give the new nodes x and y.");
}

void faceSides(Diagram& diagram, const std::vector<std::size_t>& edges) {
  std::unordered_map<std::string_view, const DiagramNode*> nodes;
  for (const DiagramNode& node : diagram.nodes) nodes.emplace(node.id, &node);
  for (const std::size_t index : edges) {
    DiagramEdge& edge = diagram.edges[index];
    const auto from = nodes.find(edge.from);
    const auto to = nodes.find(edge.to);
    if (from == nodes.end() || to == nodes.end()) continue;
    const auto [fromSide, toSide] = facingSides(from->second->frame(), to->second->frame());
    if (!edge.fromSide) edge.fromSide = fromSide;
    if (!edge.toSide) edge.toSide = toSide;
  }
}

std::pair<DiagramSide, DiagramSide> facingSides(const Rect& from, const Rect& to) {
  const double dx = to.center().x - from.center().x;
  const double dy = to.center().y - from.center().y;
  if (std::abs(dy) <= std::abs(dx))
    return dx >= 0 ? std::pair(DiagramSide::right, DiagramSide::left)
                   : std::pair(DiagramSide::left, DiagramSide::right);
  return dy < 0 ? std::pair(DiagramSide::top, DiagramSide::bottom) : std::pair(DiagramSide::bottom, DiagramSide::top);
}

}  // namespace vesk::diagramLayout
