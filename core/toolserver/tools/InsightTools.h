#pragma once

#include "core/toolserver/Tool.h"

// Tools on what the vault's state says.
namespace vesk {

Tool getOverviewTool();
Tool listCollectionsTool();
Tool getConnectionsTool();
Tool listUnprocessedSourcesTool();
Tool runQueryTool();
Tool getContextHealthTool();

}  // namespace vesk
