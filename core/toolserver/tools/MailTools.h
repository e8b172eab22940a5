#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool listEmailsTool();
Tool searchEmailsTool();
Tool readEmailTool();

}  // namespace vesk
