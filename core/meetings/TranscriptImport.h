#pragma once

#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/meetings/LiveMeeting.h"

namespace vesk {

// The lines of a transcript that another program wrote: WebVTT, SubRip, or plain text with an utterance in each line.
// Takes time linear in the file.
//
// A cue is a line, as is each voice (<v Ana>) in it; markup is dropped. It goes on over blank lines until the time of
// the next, and its time is counted from `start`. In plain text a line may begin with a time: "0:05" and "1:00:05" are
// counted from `start`, "[14:05]", as Vesk writes it, is a time of day; a line without one has that of the line before.
// A transcript note of Vesk's own reads back as it was.
//
// Of the speakers only the user is told apart: "Me:" in Vesk's three languages, or the name `me`. Everybody else's name
// stays in the text, "Ana: We ship on Tuesday."
//
// Throws Error when the file isn't UTF-8, holds no line, or more than 100,000.
std::vector<TranscriptLine> importTranscript(std::string_view file, Timestamp start, const Calendar& calendar,
                                             std::string_view me = {});

}  // namespace vesk
