#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Calendar.h"
#include "core/meetings/LiveMeeting.h"
#include "core/meetings/MeetingReplies.h"

// What the meeting assistant is sent as the user's turn. `after` is the id of the last line that it has seen. A
// meeting's title takes one line, whatever it holds: it may come from somebody's invitation.
namespace vesk::MeetingPrompts {

// Before the meeting: what do the notes know of it?
std::string brief(std::string_view title);

// What was said since.
std::string update(const LiveMeeting& meeting, std::optional<std::string_view> after, const Calendar& calendar);

// The same, and what the user asks in private.
std::string question(std::string_view text, const LiveMeeting& meeting, std::optional<std::string_view> after,
                     const Calendar& calendar);

// The same, and whether there is something useful to do; for a user who wants suggestions.
std::string watch(const LiveMeeting& meeting, std::optional<std::string_view> after, const Calendar& calendar);

// The user agreed to a proposal.
std::string approved(const MeetingProposal& proposal);

// After the meeting: asks for what MeetingSummary reads.
std::string summary(const LiveMeeting& meeting, const Calendar& calendar);

}  // namespace vesk::MeetingPrompts
