#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool moveNoteTool();
Tool createNoteTool();
Tool appendToNoteTool();
Tool updateNoteTool();
Tool renameNoteTool();
Tool trashNoteTool();
Tool renameTagTool();
Tool openDailyNoteTool();

}  // namespace vesk
