#pragma once

#include <string>
#include <vector>

#include "core/diagrams/Diagram.h"

namespace vesk::app {

struct OutlineLine {
  std::string text = {};     // with its indent
  std::string details = {};  // "diamond, orange, at 300, 0 · 224 × 112"
  bool isNode = false;
  std::string item = {};  // what it is about, as JSON; "" for a line that only goes on
};

// A diagram as a person reads it, in the order of its file: each node, below it the rest of its text ("│ "), the
// connections that leave it, and what lies in it when it is a group; then the drawings, and how much there is of each.
// Ids are shown of nodes that nothing else tells apart. Places and sizes are those that the file holds once it is
// saved. The texts are those of the file: they are still to be made safe for a terminal.
std::vector<OutlineLine> outlineLines(const Diagram& diagram);

// A line with its details in brackets: "Print it  [diamond, orange, at 300, 0 · 224 × 112]".
std::string shownLine(const OutlineLine& line);

}  // namespace vesk::app
