#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/toolserver/Tool.h"

// The list of everything an assistant can call. There is no second list of tool names: hints, switches and handlers are
// all asked of this one.
namespace vesk::toolCatalog {

// In the order of tools/list.
const std::vector<Tool>& tools();

// Nullptr when there is none of that name.
const Tool* find(std::string_view name);

// Why the user's switches forbid the tool; nullopt when they don't. Also refuses a name that is no tool.
std::optional<std::string> refusal(std::string_view name, const AIAccess& access);

}  // namespace vesk::toolCatalog
