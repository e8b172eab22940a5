#include "app/DiagramGroups.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

namespace vesk::app {

namespace {

using Indices = std::vector<std::size_t>;

double area(const DiagramNode& node) { return std::abs(node.width * node.height); }

// A group's place in this order is its rank.
Indices groupsBySize(const std::vector<DiagramNode>& nodes) {
  Indices groups;
  for (std::size_t i = 0; i < nodes.size(); ++i)
    if (nodes[i].type == "group") groups.push_back(i);
  std::sort(groups.begin(), groups.end(), [&](std::size_t a, std::size_t b) {
    const double areaOfA = area(nodes[a]);
    const double areaOfB = area(nodes[b]);
    return areaOfA != areaOfB ? areaOfA < areaOfB : a > b;
  });
  return groups;
}

// The x of every node's centre, sorted.
std::vector<double> centersOf(const std::vector<DiagramNode>& nodes) {
  std::vector<double> centers;
  for (const DiagramNode& node : nodes) centers.push_back(node.frame().center().x);
  std::sort(centers.begin(), centers.end());
  return centers;
}

// The groups that a line across the diagram meets, by rank, over the places on it where nodes have their centres: a
// segment tree, in which each group stands at a few of the ranges that its span is made of.
class MetGroups {
 public:
  explicit MetGroups(std::vector<double> places) : places_(std::move(places)), ranks_(2 * places_.size()) {}

  void add(const Rect& frame, std::size_t rank) {
    visitRanges(frame, [&](std::set<std::size_t>& ranks) { ranks.insert(rank); });
  }

  void remove(const Rect& frame, std::size_t rank) {
    visitRanges(frame, [&](std::set<std::size_t>& ranks) { ranks.erase(rank); });
  }

  // The smallest rank, of `least` or more, of a group there.
  std::optional<std::size_t> smallest(double x, std::size_t least) const {
    std::optional<std::size_t> found;
    for (std::size_t range = begin(x) + places_.size(); range > 0; range /= 2) {
      const auto rank = ranks_[range].lower_bound(least);
      if (rank != ranks_[range].end() && (!found || *rank < *found)) found = *rank;
    }
    return found;
  }

 private:
  std::size_t begin(double x) const {
    return static_cast<std::size_t>(std::lower_bound(places_.begin(), places_.end(), x) - places_.begin());
  }
  std::size_t end(double x) const {
    return static_cast<std::size_t>(std::upper_bound(places_.begin(), places_.end(), x) - places_.begin());
  }

  template <typename Visit>
  void visitRanges(const Rect& frame, Visit visit) {
    std::size_t first = begin(frame.minX()) + places_.size();
    std::size_t last = end(frame.maxX()) + places_.size();
    for (; first < last; first /= 2, last /= 2) {
      if (first % 2 == 1) visit(ranks_[first++]);
      if (last % 2 == 1) visit(ranks_[--last]);
    }
  }

  std::vector<double> places_;
  std::vector<std::set<std::size_t>> ranks_;  // range i is made of the ranges 2i and 2i + 1
};

// What the line meets on its way down. A node on the edge of a group lies in it.
struct Event {
  enum class Kind { groupBegins, center, groupEnds };

  double y = 0;
  Kind kind = Kind::center;
  std::size_t node = 0;
};

std::vector<Event> eventsOf(const std::vector<DiagramNode>& nodes, const Indices& groups) {
  std::vector<Event> events;
  for (std::size_t i = 0; i < nodes.size(); ++i)
    events.push_back({nodes[i].frame().center().y, Event::Kind::center, i});
  for (const std::size_t group : groups) {
    events.push_back({nodes[group].frame().minY(), Event::Kind::groupBegins, group});
    events.push_back({nodes[group].frame().maxY(), Event::Kind::groupEnds, group});
  }
  std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
    return std::tie(a.y, a.kind, a.node) < std::tie(b.y, b.kind, b.node);
  });
  return events;
}

}  // namespace

std::vector<std::optional<std::size_t>> enclosingGroups(const Diagram& diagram) {
  const std::vector<DiagramNode>& nodes = diagram.nodes;
  std::vector<std::optional<std::size_t>> enclosing(nodes.size());
  const Indices groups = groupsBySize(nodes);
  if (groups.empty()) return enclosing;
  Indices ranksAbove(nodes.size(), 0);  // by node, the least rank of a group that it may lie in
  for (std::size_t rank = 0; rank < groups.size(); ++rank) ranksAbove[groups[rank]] = rank + 1;

  MetGroups met(centersOf(nodes));
  for (const auto& [y, kind, node] : eventsOf(nodes, groups)) {
    const Rect frame = nodes[node].frame();
    if (kind == Event::Kind::groupBegins) met.add(frame, ranksAbove[node] - 1);
    if (kind == Event::Kind::groupEnds) met.remove(frame, ranksAbove[node] - 1);
    if (kind != Event::Kind::center) continue;
    if (const auto rank = met.smallest(frame.center().x, ranksAbove[node])) enclosing[node] = groups[*rank];
  }
  return enclosing;
}

}  // namespace vesk::app
