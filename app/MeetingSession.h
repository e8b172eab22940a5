#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/AssistantTurn.h"
#include "app/Terminal.h"
#include "core/assistant/AssistantProvider.h"
#include "core/assistant/AssistantRequest.h"
#include "core/meetings/LiveMeeting.h"
#include "core/meetings/MeetingReplies.h"

namespace vesk::app {

// A conversation with the assistant beside a meeting: what it has heard of it, and what the user said to its proposals.
struct MeetingSession {
  static constexpr std::string_view fileName = "meeting-assistant.json";
  static constexpr std::size_t mostProposals = 10;       // of one reply; more are left out
  static constexpr std::size_t longestProposal = 2'000;  // bytes; a longer one is, too: the user is to read it whole

  struct Answer {
    std::string action = {};
    bool isYes = false;
  };

  AssistantProvider provider = AssistantProvider::claude;
  std::string session = {};   // the assistant's own; "" before the first turn
  std::string seenLine = {};  // the id of the last line that it has seen; "" for none
  std::vector<Answer> answers = {};

  // What `vesk meeting ask` kept of that meeting in the support directory; nullopt without any.
  static std::optional<MeetingSession> load(const LiveMeeting& meeting);
  void save(const LiveMeeting& meeting) const;

  // Forgets it: the meeting is over.
  static void clear();

  AssistantRequest request(AssistantMode mode, std::string prompt) const;
  std::optional<std::string_view> seen() const;

  // After a turn that told it of the meeting as far as that line. One in which the assistant didn't know the
  // conversation any more makes the next begin anew.
  void take(const AssistantAnswer& answer, std::string_view lastLine);

  void remember(const MeetingProposal& proposal, bool isYes);

  // The proposals of a reply that weren't answered before.
  std::vector<MeetingProposal> newProposals(std::string_view reply) const;
};

// The id of a meeting's last line; "" while nothing was said.
std::string lastLine(const LiveMeeting& meeting);

// "Claude asks to: Send the deck to Ana  (skill: follow-up)"
std::string shownProposal(const MeetingProposal& proposal, AssistantProvider provider, const Terminal& terminal);

// What the user says to a proposal; nullopt for anything but yes and not now.
inline constexpr std::string_view yesOrNotNowQuestion = "Yes or Not now? (y/n)";
std::optional<bool> yesOrNotNow(std::string_view typed);

}  // namespace vesk::app
