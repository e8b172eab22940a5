#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool createCollectionTool();
Tool createFolderTool();
Tool renameFolderTool();
Tool moveFolderTool();
Tool trashFolderTool();

}  // namespace vesk
