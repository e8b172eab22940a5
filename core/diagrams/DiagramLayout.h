#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "core/diagrams/Diagram.h"

// Where a diagram's new nodes go, and which sides its new connections leave and meet.
namespace vesk::diagramLayout {

enum class Direction { right, down };

// A connection between nodes, by their numbers: from, to.
using Link = std::pair<std::size_t, std::size_t>;

// The level of each of `count` nodes. All start at 0; then, `count` times, each link in turn lifts the node it leads to
// one level above the one it comes from, though never above `count` - 1, where cycles end. Without cycles that is the
// length of the longest way to the node, and is found in one pass; with cycles it takes up to as many passes as there
// are nodes, and DiagramChangeError is thrown where that would take minutes.
std::vector<std::size_t> levels(std::size_t count, const std::vector<Link>& links);

// Places these nodes (indices into diagram.nodes) in levels beside all that is there already. Throws DiagramChangeError
// when there is no room left in what a file can hold.
void place(Diagram& diagram, const std::vector<std::size_t>& nodes, Direction direction);

// The sides at which a line between two frames leaves the one and meets the other.
std::pair<DiagramSide, DiagramSide> facingSides(const Rect& from, const Rect& to);

// Gives each of these connections (indices into diagram.edges) the sides that face each other, where none was chosen.
void faceSides(Diagram& diagram, const std::vector<std::size_t>& edges);

}  // namespace vesk::diagramLayout
