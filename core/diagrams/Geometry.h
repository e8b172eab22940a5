#pragma once

#include <algorithm>

namespace vesk {

// A place on a diagram, in canvas units; y grows downward.
struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

// A rectangle on a diagram. One that another editor gave a negative size reaches from its x and y to the left and up.
struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double minX() const { return std::min(x, x + width); }
  double maxX() const { return std::max(x, x + width); }
  double minY() const { return std::min(y, y + height); }
  double maxY() const { return std::max(y, y + height); }
  Point center() const { return {x + width / 2, y + height / 2}; }

  bool contains(const Point& point) const {
    return point.x >= minX() && point.x <= maxX() && point.y >= minY() && point.y <= maxY();
  }

  // The smallest rectangle that holds both.
  Rect unitedWith(const Rect& other) const {
    const double left = std::min(minX(), other.minX());
    const double top = std::min(minY(), other.minY());
    return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
  }

  bool operator==(const Rect&) const = default;
};

}  // namespace vesk
