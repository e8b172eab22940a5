#pragma once

#include "core/toolserver/Tool.h"

namespace vesk {

Tool listProposalsTool();

}  // namespace vesk
