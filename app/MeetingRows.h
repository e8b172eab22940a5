#pragma once

#include <optional>
#include <string>

#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/meetings/LiveMeeting.h"

namespace vesk::app {

// The meeting that is being transcribed. Throws Error when there is none.
LiveMeeting currentMeeting();

// Whether it is still the one that was read before; its lines may be more.
bool isSame(const std::optional<LiveMeeting>& now, const LiveMeeting& before);

std::string shownTitle(const std::string& title);

// "[14:05] Others: We ship on Tuesday.", the speaker in the user's language, and the end of the line.
std::string shownLine(const TranscriptLine& line, const Calendar& calendar, const Terminal& terminal);

}  // namespace vesk::app
