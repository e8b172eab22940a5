#include "app/MeetingRows.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/meetings/MeetingNote.h"
#include "core/platform/Environment.h"

namespace vesk::app {

LiveMeeting currentMeeting() {
  auto meeting = LiveMeeting::load(environment::supportDirectory());
  if (!meeting) throw Error("No meeting is being transcribed right now. Start one with vesk meeting start TITLE.");
  return std::move(*meeting);
}

bool isSame(const std::optional<LiveMeeting>& now, const LiveMeeting& before) {
  return now && now->started == before.started && now->title == before.title;
}

std::string shownTitle(const std::string& title) { return title.empty() ? "The meeting" : safe(title); }

std::string shownLine(const TranscriptLine& line, const Calendar& calendar, const Terminal& terminal) {
  const std::string_view speaker = MeetingNote::words(line.speaker)[static_cast<std::size_t>(environment::language())];
  return fmt::format("{} {} {}\n",
                     styled(fmt::format("[{}]", time::text(calendar.time(line.at))), Style::faint, terminal),
                     styled(fmt::format("{}:", speaker), Style::strong, terminal), safe(inOneLine(line.text)));
}

}  // namespace vesk::app
