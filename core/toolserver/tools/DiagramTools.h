#pragma once

#include "core/toolserver/Tool.h"

// Tools on diagrams.
namespace vesk {

Tool listDiagramsTool();
Tool readDiagramTool();
Tool createDiagramTool();
Tool updateDiagramTool();
Tool renameDiagramTool();
Tool trashDiagramTool();

}  // namespace vesk
