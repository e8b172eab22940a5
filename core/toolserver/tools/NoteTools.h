#pragma once

#include "core/toolserver/Tool.h"

// Tools on notes.
namespace vesk {

Tool searchNotesTool();
Tool listNotesTool();
Tool readNoteTool();

}  // namespace vesk
