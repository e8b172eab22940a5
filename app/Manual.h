#pragma once

#include <string>
#include <string_view>

#include "app/CommandTree.h"

// The manual pages, as man(7) wants them.
namespace vesk::app::manual {

// `date` is the day of the release, YYYY-MM-DD.
std::string veskPage(const DescribedCommand& program, std::string_view date);
std::string toolServerPage(std::string_view date);

}  // namespace vesk::app::manual
