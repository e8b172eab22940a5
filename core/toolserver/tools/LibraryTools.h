#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool listSkillsTool();
Tool readSkillTool();
Tool listGuidesTool();
Tool readGuideTool();

}  // namespace vesk
