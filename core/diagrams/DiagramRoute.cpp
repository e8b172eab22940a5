#include "core/diagrams/DiagramRoute.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "core/diagrams/DiagramLayout.h"

namespace vesk::diagramRoute {
namespace {

constexpr double clearance = 24;  // of an elbow line from the nodes it goes round

Point outward(DiagramSide side) {
  switch (side) {
    case DiagramSide::top: return {0, -1};
    case DiagramSide::right: return {1, 0};
    case DiagramSide::bottom: return {0, 1};
    case DiagramSide::left: return {-1, 0};
  }
  return {};
}

Point moved(const Point& point, const Point& direction, double distance) {
  return {point.x + direction.x * distance, point.y + direction.y * distance};
}

Point between(const Point& a, const Point& b, double share) {
  return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

double distance(const Point& a, const Point& b) { return std::hypot(b.x - a.x, b.y - a.y); }

Point onCurve(const std::vector<Point>& points, double share) {
  const Point a = between(points[0], points[1], share);
  const Point b = between(points[1], points[2], share);
  const Point c = between(points[2], points[3], share);
  return between(between(a, b, share), between(b, c, share), share);
}

// One end of an elbow line.
struct End {
  Point point = {};
  Point direction = {};  // away from the node
  Rect frame = {};

  bool isHorizontal() const { return direction.x != 0; }
};

Point transposed(const Point& point) { return {point.y, point.x}; }
Rect transposed(const Rect& rect) { return {rect.y, rect.x, rect.height, rect.width}; }
End transposed(const End& end) { return {transposed(end.point), transposed(end.direction), transposed(end.frame)}; }

// A height at which a line passes both frames: between them, or else below.
double passingHeight(const Rect& a, const Rect& b) {
  const double above = std::min(a.maxY(), b.maxY());
  const double below = std::max(a.minY(), b.minY());
  return above + clearance <= below ? (above + below) / 2 : std::max(a.maxY(), b.maxY()) + clearance;
}

// Where a line turns that leaves to a side and comes in from one.
std::vector<Point> turnsBetweenSides(const End& from, const End& to) {
  const double direction = from.direction.x;
  const double gap = (to.point.x - from.point.x) * direction;
  if (direction == to.direction.x) {
    const double furthest = direction * std::max(from.point.x * direction, to.point.x * direction);
    const double x = furthest + direction * clearance;
    return {{x, from.point.y}, {x, to.point.y}};
  }
  if (gap >= 0) {
    const double x = (from.point.x + to.point.x) / 2;
    return {{x, from.point.y}, {x, to.point.y}};
  }
  const double y = passingHeight(from.frame, to.frame);
  const double leave = from.point.x + direction * clearance;
  const double arrive = to.point.x - direction * clearance;
  return {{leave, from.point.y}, {leave, y}, {arrive, y}, {arrive, to.point.y}};
}

// Where a line turns that leaves to a side and comes in from above or below.
std::vector<Point> turnsAcross(const End& from, const End& to) {
  const bool isAhead = (to.point.x - from.point.x) * from.direction.x > 0;
  const bool isBefore = (from.point.y - to.point.y) * to.direction.y > 0;
  if (isAhead && isBefore) return {{to.point.x, from.point.y}};
  const double leave = from.point.x + from.direction.x * clearance;
  const double arrive = to.point.y + to.direction.y * clearance;
  return {{leave, from.point.y}, {leave, arrive}, {to.point.x, arrive}};
}

std::vector<Point> turns(const End& from, const End& to) {
  if (from.isHorizontal()) return to.isHorizontal() ? turnsBetweenSides(from, to) : turnsAcross(from, to);
  std::vector<Point> points = turns(transposed(from), transposed(to));
  for (Point& point : points) point = transposed(point);
  return points;
}

bool isStraight(const Point& a, const Point& b, const Point& c) {
  return (a.x == b.x && b.x == c.x) || (a.y == b.y && b.y == c.y);
}

Route elbow(const End& from, const End& to) {
  Route route{.points = {from.point}};
  std::vector<Point> rest = turns(from, to);
  rest.push_back(to.point);
  for (const Point& point : rest) {
    std::vector<Point>& points = route.points;
    if (points.size() > 1 && isStraight(points[points.size() - 2], points.back(), point)) points.pop_back();
    if (points.back() != point || points.size() == 1) points.push_back(point);
  }
  return route;
}

Route curve(const End& from, const End& to) {
  const double reach = std::clamp(distance(from.point, to.point) * 0.45, 24.0, 240.0);
  return {{from.point, moved(from.point, from.direction, reach), moved(to.point, to.direction, reach), to.point}, true};
}

}  // namespace

Point Route::middle() const {
  if (isCurve) return onCurve(points, 0.5);
  std::size_t longest = 1;
  const auto step = [&](std::size_t i) { return distance(points[i - 1], points[i]); };
  for (std::size_t i = 2; i < points.size(); ++i)
    if (step(i) > step(longest)) longest = i;
  return between(points[longest - 1], points[longest], 0.5);
}

double Route::length() const {
  if (isCurve) return distance(points.front(), points.back());
  double sum = 0;
  for (std::size_t i = 1; i < points.size(); ++i) sum += distance(points[i - 1], points[i]);
  return sum;
}

Rect Route::bounds() const {
  Rect bounds{points.front().x, points.front().y};
  const auto include = [&](const Point& point) { bounds = bounds.unitedWith({point.x, point.y}); };
  if (isCurve) {
    for (const double share : {0.2, 0.35, 0.5, 0.65, 0.8, 1.0}) include(onCurve(points, share));
  } else {
    for (const Point& point : points) include(point);
  }
  return bounds;
}

Route between(const Rect& from, const Rect& to, const Sides& sides, DiagramLine line) {
  const auto [facingFrom, facingTo] = diagramLayout::facingSides(from, to);
  const DiagramSide fromSide = sides.from.value_or(facingFrom);
  const DiagramSide toSide = sides.to.value_or(facingTo);
  const End start{anchor(from, fromSide), outward(fromSide), from};
  const End end{anchor(to, toSide), outward(toSide), to};
  return line == DiagramLine::elbow ? elbow(start, end) : curve(start, end);
}

Route loop(const Rect& frame, const Sides& sides) {
  if (sides.from && sides.to && *sides.from != *sides.to) return between(frame, frame, sides, DiagramLine::curved);
  constexpr double reach = 56;
  constexpr double spread = 40;
  const DiagramSide side = sides.from.value_or(sides.to.value_or(DiagramSide::right));
  const Point start = anchor(frame, side);
  const Point tip = moved(start, outward(side), reach);
  const Point across = transposed(outward(side));
  return {{start, moved(tip, across, -spread), moved(tip, across, spread), start}, true};
}

}  // namespace vesk::diagramRoute
