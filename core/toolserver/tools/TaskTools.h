#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool listTasksTool();
Tool addTaskTool();
Tool updateTaskTool();
Tool addTaskNoteTool();
Tool removeTaskTool();

}  // namespace vesk
