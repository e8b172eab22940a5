#include "core/meetings/MeetingNote.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/platform/Folder.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

// In English, Portuguese and Spanish.
using Words = std::array<std::string_view, 3>;

constexpr std::array<Words, 2> speakerWords = {{{"Me", "Eu", "Yo"}, {"Others", "Outros", "Otros"}}};
constexpr std::array<Words, 2> kindWords = {
    {{"Transcript", "Transcrição", "Transcripción"}, {"Summary", "Resumo", "Resumen"}}};

constexpr Words folderNames = {"Meetings", "Reuniões", "Reuniones"};

// The beginning of a title that leaves room in a file's name for the day, the word and a number.
std::string_view shortened(std::string_view title) {
  constexpr std::size_t characters = 80;
  constexpr std::size_t bytes = 200;
  if (!text::isValidUtf8(title)) return {};
  return text::trimWhitespace(text::firstBytes(text::firstCharacters(title, characters), bytes));
}

}  // namespace

namespace MeetingNote {

std::string_view word(Kind kind, Language language) {
  return kindWords[static_cast<std::size_t>(kind)][static_cast<std::size_t>(language)];
}

const std::array<std::string_view, 3>& words(MeetingSpeaker speaker) {
  return speakerWords[static_cast<std::size_t>(speaker)];
}

std::string render(const TranscriptLine& line, const Calendar& calendar, Language language) {
  const std::string_view speaker = words(line.speaker)[static_cast<std::size_t>(language)];
  return fmt::format("**[{}] {}:** {}", time::text(calendar.time(line.at)), speaker, inOneLine(line.text));
}

std::string body(const LiveMeeting& meeting, const Calendar& calendar, Language language) {
  std::string text;
  for (const TranscriptLine& line : meeting.lines) {
    if (!text.empty()) text += "\n\n";
    text += render(line, calendar, language);
  }
  return text += '\n';
}

std::string name(const LiveMeeting& meeting, Kind kind, const Calendar& calendar, Language language) {
  const std::string day = time::isoDay(calendar.day(meeting.started));
  const std::string_view title = shortened(meeting.title);
  if (title.empty()) return fmt::format("{} {}", day, word(kind, language));
  return fmt::format("{} {} - {}", day, title, word(kind, language));
}

std::string summaryBody(std::string_view summary, std::string_view transcriptTitle) {
  return fmt::format("{}\n\n---\n\n[[{}]]\n", text::trimWhitespace(summary), transcriptTitle);
}

}  // namespace MeetingNote

std::string meetingsFolder(const VaultSnapshot& snapshot) {
  const std::optional<std::string> resources = snapshot.folder(Bucket::resources);
  if (!resources) return joinPath("Resources", folderNames[0]);
  for (const FolderNode& place : snapshot.root.folders) {
    if (place.id != *resources) continue;
    for (const FolderNode& child : place.folders) {
      const auto isItsName = [&, name = text::nfc(child.name)](std::string_view each) { return each == name; };
      if (std::any_of(folderNames.begin(), folderNames.end(), isItsName)) return child.id;
    }
  }
  return joinPath(*resources, folderNames[0]);
}

std::string saveMeeting(const Vault& vault, const LiveMeeting& meeting, std::string_view folder,
                        const Calendar& calendar, Language language) {
  return vault.createNote(MeetingNote::name(meeting, MeetingNote::Kind::transcript, calendar, language),
                          MeetingNote::body(meeting, calendar, language),
                          {std::string(MeetingNote::tag), std::string(transcriptTag)}, folder);
}

std::string saveSummary(const Vault& vault, std::string_view summary, const LiveMeeting& meeting,
                        std::string_view transcriptTitle, std::string_view folder, const Calendar& calendar,
                        Language language) {
  std::string body = MeetingNote::summaryBody(summary, Vault::fileName(transcriptTitle));
  // What an assistant begins with "---" is a ruled line, and must not swallow the summary as front matter.
  if (!MarkdownView(body).opening.empty()) body.insert(0, "\n");
  return vault.createNote(MeetingNote::name(meeting, MeetingNote::Kind::summary, calendar, language), body,
                          {std::string(MeetingNote::tag)}, folder);
}

}  // namespace vesk
