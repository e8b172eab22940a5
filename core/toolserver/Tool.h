#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/toolserver/AIAccess.h"
#include "core/toolserver/ToolArguments.h"
#include "core/toolserver/ToolContext.h"

namespace vesk {

// What a tool does to the vault; gives the hints that clients read.
enum class Effect {
  reads,
  adds,      // makes something new, or files and marks what is there
  changes,   // changes what exists
  destroys,  // takes something away, into the Trash
  syncs,
};

struct Parameter {
  std::string_view name;
  std::string_view type;  // as JSON Schema names it
  std::string_view description;
  bool required = false;
  std::optional<int> minimum = {};
  std::optional<int> maximum = {};
};

// Everything about one tool.
struct Tool {
  std::string_view name;
  std::string_view description;
  std::vector<Parameter> parameters;
  Effect effect;
  bool AIAccess::*needs;  // the switch that must be on; nullptr for a tool that is always open
  std::string (*run)(ToolContext& context, const ToolArguments& arguments);  // the result's text; throws ToolError

  // The entry of tools/list.
  Json json() const;
};

// Parameters that several tools have.
namespace parameters {
Parameter note();  // required
Parameter limit();
Parameter offset();
}  // namespace parameters

}  // namespace vesk
