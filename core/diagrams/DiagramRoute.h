#pragma once

#include <optional>
#include <vector>

#include "core/diagrams/Diagram.h"

// The ways that connections take between their nodes.
namespace vesk::diagramRoute {

struct Route {
  std::vector<Point> points = {};  // of a curve: both ends, with their control points between them (cubic Bézier)
  bool isCurve = false;

  Point middle() const;   // half way, where a label goes
  double length() const;  // roughly
  Rect bounds() const;
};

struct Sides {
  std::optional<DiagramSide> from = {};
  std::optional<DiagramSide> to = {};
};

// From the middle of one frame's side to that of another's, both at right angles; sides that are not given are those
// that face each other. The sizes of the frames must not be negative.
Route between(const Rect& from, const Rect& to, const Sides& sides, DiagramLine line);

// A small loop, from a node to itself.
Route loop(const Rect& frame, const Sides& sides);

}  // namespace vesk::diagramRoute
