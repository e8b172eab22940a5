#pragma once

#include "core/toolserver/Tool.h"

// Tools on meetings.
namespace vesk {

Tool listMeetingsTool();
Tool getLiveTranscriptTool();
Tool getSharedScreenTool();

}  // namespace vesk
