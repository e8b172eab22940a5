#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/diagrams/DiagramLayout.h"

namespace vesk {
namespace {

using diagramLayout::Direction;
using diagramLayout::Link;
using Indices = std::vector<std::size_t>;

// The levels by their rule: as many rounds as there are nodes, over all connections in the diagram's order.
std::map<std::string, std::size_t> plainLevels(const Diagram& diagram, const Indices& placed) {
  std::map<std::string, std::size_t> levels;
  for (const std::size_t i : placed) levels[diagram.nodes[i].id] = 0;
  for (std::size_t round = 0; round < placed.size(); ++round)
    for (const DiagramEdge& edge : diagram.edges) {
      if (!levels.contains(edge.from) || !levels.contains(edge.to)) continue;
      const std::size_t level = levels[edge.from] + 1;
      if (level > levels[edge.to] && level <= placed.size() - 1) levels[edge.to] = level;
    }
  return levels;
}

double spanOf(const std::vector<DiagramNode*>& level) {
  double sizes = 0;
  for (const DiagramNode* node : level) sizes += node->height;
  return sizes + 40 * static_cast<double>(level.size() - 1);
}

// The places by their rule, for a flow to the right.
void placePlainly(Diagram& diagram, const Indices& placed) {
  Diagram others = diagram;
  for (const std::size_t i : placed) others.nodes[i].id.clear();
  std::erase_if(others.nodes, [](const DiagramNode& node) { return node.id.empty(); });
  const auto bounds = others.bounds();
  double x = bounds ? bounds->minX() : 0;
  const double top = bounds ? bounds->maxY() + 100 : 0;

  std::map<std::size_t, std::vector<DiagramNode*>> byLevel;
  auto levels = plainLevels(diagram, placed);
  for (const std::size_t i : placed) byLevel[levels[diagram.nodes[i].id]].push_back(&diagram.nodes[i]);
  double largest = -HUGE_VAL;
  for (const auto& [level, nodes] : byLevel) largest = std::max(largest, spanOf(nodes));
  for (const auto& [level, nodes] : byLevel) {
    double y = top + (largest - spanOf(nodes)) / 2;
    double thickness = -HUGE_VAL;
    for (DiagramNode* node : nodes) {
      node->x = x;
      node->y = y;
      y += node->height + 40;
      thickness = std::max(thickness, node->width);
    }
    x += thickness + 100;
  }
}

// Down is to the right with both axes changed over.
void turn(Diagram& diagram) {
  for (DiagramNode& node : diagram.nodes) {
    std::swap(node.x, node.y);
    std::swap(node.width, node.height);
  }
  for (DiagramStroke& stroke : diagram.strokes)
    for (Point& point : stroke.points) std::swap(point.x, point.y);
}

// Nodes with connections of every kind: in circles, to themselves, twice, to nowhere. In half of them none are circles.
Diagram randomDiagram(std::mt19937& random) {
  constexpr double sizes[] = {160, 320, 224, 112, 320 * 1.4, 92, 80.5, 3, -7};
  const std::size_t count = 1 + random() % 12;
  Diagram diagram;
  for (std::size_t i = 0; i < count; ++i)
    diagram.nodes.push_back({.id = std::to_string(i),
                             .x = static_cast<double>(random() % 1000) - 500,
                             .y = static_cast<double>(random() % 1000) / 2,
                             .width = sizes[random() % std::size(sizes)],
                             .height = sizes[random() % std::size(sizes)]});
  const bool hasCircles = random() % 2 == 0;
  for (std::size_t edges = random() % (2 * count + 1); edges > 0; --edges) {
    const auto from = random() % (count + 1);
    const auto to = random() % (count + 1);
    if (hasCircles || from > to) diagram.edges.push_back({.from = std::to_string(from), .to = std::to_string(to)});
  }
  if (random() % 3 == 0) diagram.strokes.push_back({.points = {{-20.5, 700}, {3, 4}}});
  return diagram;
}

TEST(DiagramLayout, IsThatOfItsRule) {
  std::mt19937 random(20261214);
  for (int i = 0; i < 10'000; ++i) {
    Diagram diagram = randomDiagram(random);
    Diagram expected = diagram;
    Indices placed;
    for (std::size_t node = 0; node < diagram.nodes.size(); ++node)
      if (random() % 4 > 0) placed.push_back(node);
    place(diagram, placed, Direction::right);
    placePlainly(expected, placed);
    ASSERT_EQ(diagram, expected) << expected.serialized();
    turn(expected);
    place(diagram, placed, Direction::down);
    placePlainly(expected, placed);
    turn(expected);
    ASSERT_EQ(diagram, expected) << expected.serialized();
  }
}

// That many nodes of one size, all of them placed to the right.
Diagram placed(std::size_t count, const std::vector<Link>& links) {
  Diagram diagram;
  Indices all;
  for (std::size_t i = 0; i < count; ++i) {
    all.push_back(i);
    diagram.nodes.push_back({.id = std::to_string(i), .width = 160, .height = 80});
  }
  for (const auto& [from, to] : links)
    diagram.edges.push_back({.from = std::to_string(from), .to = std::to_string(to)});
  place(diagram, all, Direction::right);
  return diagram;
}

TEST(DiagramLayout, EndsForLargeDiagrams) {
  std::vector<Link> chain;
  std::vector<Link> star;
  std::vector<Link> complete;
  for (std::size_t i = 1; i < 5000; ++i) {
    chain.emplace_back(i - 1, i);
    star.emplace_back(0, i);
  }
  for (std::size_t i = 0; i < 300 * 300; ++i) complete.emplace_back(i / 300, i % 300);
  std::vector<Link> climbing(chain.rbegin(), chain.rend());  // one level a round
  climbing.emplace_back(1, 0);
  std::vector<Link> circle = chain;
  circle.emplace_back(4999, 0);

  for (const auto& links : {chain, star, climbing, circle, complete}) {
    auto nodes = placed(links.size() == 300 * 300 ? 300 : 5000, links).nodes;
    const auto place = [](const DiagramNode& node) { return std::pair(node.x, node.y); };
    std::sort(nodes.begin(), nodes.end(), [&](const auto& a, const auto& b) { return place(a) < place(b); });
    for (std::size_t i = 1; i < nodes.size(); ++i) {
      const auto [x, y] = place(nodes[i - 1]);
      ASSERT_TRUE(nodes[i].x == x ? nodes[i].y == y + 120 : nodes[i].x == x + 260) << nodes[i].id;
    }
  }
  EXPECT_EQ(placed(5000, chain).nodes.back().x, 260 * 4999);
  EXPECT_EQ(placed(5000, star).nodes.back().y, 120 * 4998);
}

TEST(DiagramLayout, FindsTheSidesThatFace) {
  const std::tuple<double, double, std::string> cases[] = {
      {100, 100, "right left"}, {100, -100, "right left"}, {-100, 100, "left right"}, {0, 0, "right left"},
      {99, 100, "bottom top"},  {99, -100, "top bottom"},  {-100, 99, "left right"}};
  for (const auto& [dx, dy, sides] : cases) {
    // The centres are that far apart; the corners are not.
    const auto [from, to] = diagramLayout::facingSides({5, 5, 10, 20}, {dx, dy, 20, 30});
    EXPECT_EQ(fmt::format("{} {}", name(from), name(to)), sides) << dx << ", " << dy;
  }
}

}  // namespace
}  // namespace vesk
