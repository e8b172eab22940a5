#include "core/meetings/LiveMeeting.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/JsonWriter.h"
#include "core/base/Text.h"
#include "core/base/Uuid.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace {

constexpr std::uint64_t maximumSize = std::uint64_t{16} << 20;  // of either file: a meeting of some 60,000 lines

constexpr std::array<std::string_view, 2> speakerNames = {"me", "others"};

std::optional<std::string> read(const std::string& directory, std::string_view name) {
  try {
    const Folder folder = Folder::open(directory);
    const auto info = folder.info(name);
    if (!info || info->kind != FileKind::file || info->size > maximumSize) return std::nullopt;
    return folder.read(name);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

// ---- JSON

const std::string* textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value ? value->string() : nullptr;
}

std::optional<Timestamp> momentOf(const Json& json, std::string_view key) {
  const std::string* text = textOf(json, key);
  return text ? time::parseIso8601(*text) : std::nullopt;
}

std::optional<MeetingSpeaker> speakerNamed(const std::string* name) {
  const auto found = name ? std::find(speakerNames.begin(), speakerNames.end(), *name) : speakerNames.end();
  if (found == speakerNames.end()) return std::nullopt;
  return static_cast<MeetingSpeaker>(found - speakerNames.begin());
}

std::optional<TranscriptLine> lineFrom(const Json& json) {
  const std::string* id = textOf(json, "id");
  const auto speaker = speakerNamed(textOf(json, "speaker"));
  const std::string* text = textOf(json, "text");
  const auto at = momentOf(json, "at");
  if (!id || !speaker || !text || !at) return std::nullopt;
  return TranscriptLine{*id, *speaker, *text, *at};
}

void write(std::string_view key, const Json& value, JsonWriter& writer) {
  writer.key(key);
  writer.value(value);
}

std::string toText(const LiveMeeting& meeting) {
  JsonWriter writer(JsonWriter::Layout::compact);  // all of it is written anew with every line
  writer.beginObject();
  write("title", meeting.title, writer);
  write("started", time::iso8601(meeting.started), writer);
  writer.key("lines");
  writer.beginArray();
  for (const TranscriptLine& line : meeting.lines) {
    writer.beginObject();
    write("id", line.id, writer);
    write("speaker", speakerNames[static_cast<std::size_t>(line.speaker)], writer);
    write("text", line.text, writer);
    write("at", time::iso8601(line.at), writer);
    writer.endObject();
  }
  writer.endArray();
  write("isSharingScreen", meeting.isSharingScreen, writer);
  writer.endObject();
  return writer.take();
}

// Throws JsonError for what is no JSON.
std::optional<LiveMeeting> meetingFrom(std::string_view text) {
  LiveMeeting meeting;
  bool areLinesWhole = true;
  const auto addLine = [&](const Json& element) {
    auto line = lineFrom(element);
    areLinesWhole = areLinesWhole && line;
    if (line) meeting.lines.push_back(std::move(*line));
  };
  const Json json = Json::parse(text, [&](std::string_view key) -> Json::ElementReader {
    if (key != "lines") return [](const Json&) {};  // nothing of ours, and it may be long
    meeting.lines.clear();
    areLinesWhole = true;
    return addLine;
  });
  const std::string* title = textOf(json, "title");
  const auto started = momentOf(json, "started");
  const Json* lines = json.find("lines");
  const Json* isSharing = json.find("isSharingScreen");
  const bool isWhole = lines && lines->array() && areLinesWhole && isSharing && isSharing->boolean();
  if (!title || !started || !isWhole) return std::nullopt;
  meeting.title = *title;
  meeting.started = *started;
  meeting.isSharingScreen = *isSharing->boolean();
  return meeting;
}

}  // namespace

// ---- Lines

TranscriptLine newTranscriptLine(MeetingSpeaker speaker, std::string_view text, Timestamp at) {
  return {newUuid(), speaker, std::string(text), at};
}

std::string inOneLine(std::string_view text) {
  constexpr std::array<std::string_view, 7> breaks = {"\n", "\r", "\v", "\f", "\u0085", "\u2028", "\u2029"};
  const bool hasBreak = std::any_of(breaks.begin(), breaks.end(), [&](std::string_view lineBreak) {
    return text.find(lineBreak) != std::string_view::npos;
  });
  return hasBreak ? text::collapseWhitespace(text) : std::string(text);
}

std::string plainText(const TranscriptLine& line, const Calendar& calendar) {
  const std::string_view speaker = line.speaker == MeetingSpeaker::me ? "Me" : "Others";
  return fmt::format("[{}] {}: {}", time::text(calendar.time(line.at)), speaker, inOneLine(line.text));
}

std::string LiveMeeting::transcript(std::optional<std::string_view> after, const Calendar& calendar) const {
  auto next = lines.begin();
  if (after) {
    const auto seen = std::find_if(lines.begin(), lines.end(), [&](const auto& line) { return line.id == *after; });
    if (seen != lines.end()) next = seen + 1;
  }
  std::string text;
  for (auto line = next; line != lines.end(); ++line) {
    if (line != next) text += '\n';
    text += plainText(*line, calendar);
  }
  return text;
}

// ---- Files

std::string LiveMeeting::url(std::string_view directory) { return joinPath(directory, fileName); }

std::string LiveMeeting::screenURL(std::string_view directory) { return joinPath(directory, screenFileName); }

std::optional<LiveMeeting> LiveMeeting::load(const std::string& directory) {
  const auto text = read(directory, fileName);
  try {
    return text ? meetingFrom(*text) : std::nullopt;
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

void LiveMeeting::save(const std::string& directory) const {
  const std::string text = toText(*this);
  if (text.size() > maximumSize) throw Error("This meeting's transcript is full.");
  const Folder folder = Folder::open(directory);
  if (!folder.createFile(fileName, text, 0600)) folder.replaceFile(fileName, text);
}

void LiveMeeting::clear(const std::string& directory) {
  std::optional<FileError> failure;
  for (const std::string_view name : {fileName, screenFileName}) {
    try {
      Folder::open(directory).removeFile(name);
    } catch (const FileError& error) {
      if (!error.isMissing()) failure = error;
    }
  }
  if (failure) throw FileError(*failure);
}

std::optional<std::string> LiveMeeting::sharedScreen(const std::string& directory) {
  const auto meeting = load(directory);
  if (!meeting || !meeting->isSharingScreen) return std::nullopt;
  auto picture = read(directory, screenFileName);
  return picture && !picture->empty() ? std::move(picture) : std::nullopt;
}

}  // namespace vesk
