#pragma once

#include <string>
#include <vector>

#include "app/Terminal.h"
#include "core/base/DiffLine.h"

namespace vesk::app {

// What a change adds ("+ ") and removes ("- "), a line each, with the three lines around it; "…" stands for what is
// left out. "" when nothing changes. Lines are shown whole and are safe for a terminal.
std::string diffText(const std::vector<DiffLine>& lines, const Terminal& terminal);

}  // namespace vesk::app
