#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/toolserver/AIAccess.h"
#include "core/toolserver/PlannedChange.h"
#include "core/toolserver/Surroundings.h"
#include "core/toolserver/ToolArguments.h"
#include "core/toolserver/ToolContext.h"

namespace vesk {

// What a tool does to the vault; gives the hints that clients read, and says what waits for the user.
enum class Effect {
  reads,
  adds,      // makes something new, or files and marks what is there
  changes,   // changes what exists
  destroys,  // takes something away, into the Trash
  syncs,
};

struct Parameter {
  std::string_view name;
  std::string_view type;  // as JSON Schema names it, or "points": an array of [x, y]
  std::string_view description = {};
  bool required = false;
  std::optional<int> minimum = {};
  std::optional<int> maximum = {};
  std::vector<std::string_view> values = {};  // those it can have; empty for any
  std::vector<Parameter> members = {};        // of the objects in an array; empty for one of strings
};

// All throw ToolError for what they refuse. A change is only planned: nothing is touched before it is carried out.
using Reading = std::string (*)(ToolContext& context, const ToolArguments& arguments);  // the result's text
using Change = PlannedChange (*)(ToolContext& context, const ToolArguments& arguments);
// Of what ships with Vesk: neither a vault nor a switch is needed.
using LookUp = std::string (*)(const Surroundings& surroundings, const ToolArguments& arguments);

// Everything about one tool.
struct Tool {
  std::string_view name;
  std::string_view description;
  std::vector<Parameter> parameters;
  Effect effect;
  bool AIAccess::*needs;  // the switch that must be on; nullptr for a tool that is always open
  std::variant<Reading, Change, LookUp> handler;
  bool givesPicture = false;  // the result's text is a JPEG file in base64

  // Whether a call of the assistant waits for the user.
  bool waits(ApprovalLevel level) const;

  // The entry of tools/list.
  Json json() const;
};

// Parameters that several tools have.
namespace parameters {
Parameter note();  // required
Parameter folder(bool required);
Parameter task();     // required
Parameter diagram();  // required
Parameter limit();
Parameter offset();
}  // namespace parameters

}  // namespace vesk
