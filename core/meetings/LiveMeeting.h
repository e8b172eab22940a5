#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"

namespace vesk {

enum class MeetingSpeaker {
  me,      // the user, heard through the microphone
  others,  // everybody else, heard through the computer's audio
};

// One utterance as it was recognised.
struct TranscriptLine {
  std::string id = {};  // a UUID, by which the lines after this one are asked for
  MeetingSpeaker speaker = MeetingSpeaker::others;
  std::string text = {};
  Timestamp at = {};  // when it was heard

  bool operator==(const TranscriptLine&) const = default;
};

// A line with a new id.
TranscriptLine newTranscriptLine(MeetingSpeaker speaker, std::string_view text, Timestamp at);

// The text, its line breaks made spaces.
std::string inOneLine(std::string_view text);

// "[14:05] Others: We ship on Tuesday.": how assistants read a line, in every language. One line whatever the text
// holds: nobody gets to speak for another by a line break.
std::string plainText(const TranscriptLine& line, const Calendar& calendar);

// The meeting that is being transcribed. One program writes it, any number of others read it, through two files in the
// support directory, which must be there.
struct LiveMeeting {
  static constexpr std::string_view fileName = "live-meeting.json";
  static constexpr std::string_view screenFileName = "meeting-screen.jpg";

  std::string title = {};
  Timestamp started = {};
  std::vector<TranscriptLine> lines = {};  // in the order in which they were heard
  bool isSharingScreen = false;            // the user shares a picture of the screen with the assistant

  // The paths of the two files.
  static std::string url(std::string_view directory);
  static std::string screenURL(std::string_view directory);

  // Nullopt when no meeting is being transcribed: the file is missing, no regular file, over 16 MiB, or holds anything
  // but a whole meeting. Never blocks.
  static std::optional<LiveMeeting> load(const std::string& directory);

  // Writes the whole file atomically, for its user alone; times in whole seconds. A reader sees the meeting before or
  // after. Throws FileError, and Error for more than load() takes.
  void save(const std::string& directory) const;

  // Removes both files, those that are there: the meeting is over.
  static void clear(const std::string& directory);

  // The latest picture of the screen, a JPEG file's bytes, while it is being shared. Nullopt when it isn't, and for a
  // picture that is missing, empty, no regular file, or over 16 MiB.
  static std::optional<std::string> sharedScreen(const std::string& directory);

  // The lines after the (first) one of that id, as plain text joined by "\n"; all of them without an id or with one
  // that no line has.
  std::string transcript(std::optional<std::string_view> after, const Calendar& calendar) const;

  bool operator==(const LiveMeeting&) const = default;
};

}  // namespace vesk
