#pragma once

#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/insights/LinkWatch.h"

namespace vesk {

// The results of changes that links of other notes may not survive: {"path": …} of what was renamed or moved, and
// {"trashed": …}. Each lists the links that lead nowhere now, if there are any.
std::string movedResult(std::string_view path, const LinkWatch& links);
std::string trashedResult(std::string_view path, const LinkWatch& links);

}  // namespace vesk
