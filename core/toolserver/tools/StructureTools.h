#pragma once

#include "core/toolserver/Tool.h"

// Tools on how the vault is arranged.
namespace vesk {

Tool listFoldersTool();
Tool listTagsTool();
Tool getOrganizationTool();

}  // namespace vesk
