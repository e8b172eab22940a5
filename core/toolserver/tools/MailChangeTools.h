#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool draftEmailTool();
Tool updateEmailTool();

}  // namespace vesk
