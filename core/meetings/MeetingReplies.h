#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// Something the meeting assistant asks to do.
struct MeetingProposal {
  std::string id = {};                    // a UUID, new whenever a reply is parsed
  std::string action = {};                // one sentence
  std::optional<std::string> skill = {};  // the name of a saved skill that applies

  bool operator==(const MeetingProposal&) const = default;
};

// A meeting assistant's reply taken apart, in time linear in it.
//
// A proposal is a match of <proposal(?:\s+skill="([^"]*)")?\s*>(.*?)</proposal>, with "." matching line breaks. One
// that asks for nothing is dropped, and so is "<nothing/>": what the assistant answers when it has nothing to say.
struct MeetingAgentReply {
  std::string text = {};  // to show; may be empty
  std::vector<MeetingProposal> proposals = {};

  static MeetingAgentReply parse(std::string_view reply);
};

// An assistant's closing summary taken apart likewise: what stands in the first match of <tasks>(.*?)</tasks> are the
// action items, one a line, with or without "- [ ] ", "- " or "* " before it.
struct MeetingSummary {
  std::string text = {};
  std::vector<std::string> actionItems = {};

  static MeetingSummary parse(std::string_view reply);

  bool operator==(const MeetingSummary&) const = default;
};

}  // namespace vesk
