#pragma once

#include <string>
#include <vector>

#include "app/Terminal.h"
#include "core/insights/Insights.h"

namespace vesk::app {

// Bars that stand side by side, one a day: over each its number, and under it the weekday and the day of the month.
std::string dayChart(const std::vector<DayCount>& days, const Terminal& terminal);

}  // namespace vesk::app
