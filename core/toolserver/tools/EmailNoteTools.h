#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool addEmailTool();

}  // namespace vesk
