#pragma once

#include "core/toolserver/Tool.h"

// Tools on the map of the vault and the summaries of its projects.
namespace vesk {

Tool getContextMapTool();
Tool getProjectContextTool();
Tool updateProjectContextTool();

}  // namespace vesk
