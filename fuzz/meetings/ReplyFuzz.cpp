#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/meetings/LiveMeeting.h"
#include "core/meetings/MeetingNote.h"
#include "core/meetings/MeetingReplies.h"
#include "core/meetings/TranscriptImport.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

bool isTrimmed(std::string_view text) { return text == text::trimWhitespace(text); }

void checkReply(std::string_view text) {
  const auto reply = MeetingAgentReply::parse(text);
  require(isTrimmed(reply.text) && reply.text.size() <= text.size());
  for (const MeetingProposal& each : reply.proposals) {
    require(!each.action.empty() && isTrimmed(each.action));
    require(text.find(each.action) != std::string_view::npos);
    require(!each.skill || (!each.skill->empty() && text.find(*each.skill) != std::string_view::npos));
  }
}

void checkSummary(std::string_view text) {
  const auto summary = MeetingSummary::parse(text);
  require(isTrimmed(summary.text) && summary.text.size() <= text.size());
  for (const std::string& item : summary.actionItems)
    require(!item.empty() && item.find_first_of("\r\n") == std::string::npos);
}

// The note of what was imported holds the same lines.
void checkTranscript(std::string_view text, const Calendar& calendar) {
  LiveMeeting meeting;
  try {
    meeting.lines = importTranscript(text, {}, calendar, "Ana");
  } catch (const Error&) {
    return;
  }
  for (const TranscriptLine& line : meeting.lines) require(text::isValidUtf8(line.text) && !line.text.empty());
  const auto again = importTranscript(MeetingNote::body(meeting, calendar, Language::portuguese), {}, calendar);
  require(again.size() == meeting.lines.size());
  for (std::size_t i = 0; i < again.size(); ++i)
    require(again[i].text == meeting.lines[i].text && again[i].speaker == meeting.lines[i].speaker);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Calendar calendar("Europe/Lisbon");
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkReply(text);
  checkSummary(text);
  checkTranscript(text, calendar);
  return 0;
}
