#pragma once

#include <string>

#include "core/diagrams/Diagram.h"
#include "core/diagrams/DiagramPalette.h"

namespace vesk {

// The diagram as a picture: an SVG file of its own, without scripts and without anything from outside. Connections
// whose nodes are missing are left out. Takes any diagram, whatever its sizes and places.
std::string drawnAsSVG(const Diagram& diagram, DiagramTheme theme = DiagramTheme::automatic);

}  // namespace vesk
