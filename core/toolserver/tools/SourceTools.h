#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool addSourceTool();

}  // namespace vesk
