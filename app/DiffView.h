#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/Terminal.h"
#include "core/base/DiffLine.h"

namespace vesk::app {

enum class TextKind { note, diagram };

// By its name.
TextKind kindOf(std::string_view path);

// From one text of a file to the other, "" where there is none. Of a diagram it is the outlines that are compared, with
// the lines marked of what changed in a way that they don't show; or the texts where these can't be read.
std::vector<DiffLine> compared(std::string_view before, std::string_view after, TextKind kind);

// What a change adds ("+ ") and removes ("- "), a line each, with the three lines around it; "…" stands for what is
// left out. "" when nothing changes. Lines are shown whole and are safe for a terminal.
std::string diffText(const std::vector<DiffLine>& lines, const Terminal& terminal);

}  // namespace vesk::app
