#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/meetings/LiveMeeting.h"
#include "core/platform/Fd.h"

namespace vesk::app {

// What was said, now: by the speaker that the line begins with, as "Others: Good morning." does, else by `speaker`.
// Nullopt for a line that says nothing.
std::optional<TranscriptLine> spokenLine(std::string_view typed, MeetingSpeaker speaker);

// The lines of the standard input, as they are written. Ctrl-C ends them instead of the program.
class SpokenLines {
 public:
  // `speaker` said the lines that don't name theirs.
  explicit SpokenLines(MeetingSpeaker speaker);

  // Waits for the next lines; none when the input has ended. Throws FileError when it can't be read.
  std::vector<TranscriptLine> next();

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr Clock::time_point never = Clock::time_point::max();

  void readUntil(Clock::time_point deadline);
  void read();
  void interrupted();
  void add(std::string_view line);

  const MeetingSpeaker speaker_;
  Fd interrupts_;
  std::vector<TranscriptLine> lines_;
  std::size_t size_ = 0;  // bytes of them
  std::string rest_;      // what was read of the line after them
  Clock::time_point dueAt_ = Clock::time_point::min();
  Clock::time_point endAt_ = never;
};

}  // namespace vesk::app
