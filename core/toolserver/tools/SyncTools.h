#pragma once

#include "core/toolserver/Tool.h"

// Tools on the vault's sync.
namespace vesk {

Tool syncStatusTool();
Tool syncNowTool();

}  // namespace vesk
