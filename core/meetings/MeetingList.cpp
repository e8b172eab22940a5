#include "core/meetings/MeetingList.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Language.h"
#include "core/base/Text.h"
#include "core/meetings/MeetingNote.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace {

using MeetingNote::Kind;

constexpr Language languages[] = {Language::english, Language::portuguese, Language::spanish};

// A note's name taken apart: "2025-07-01 Weekly sync - Summary 2".
struct NoteName {
  std::optional<Day> day = {};
  std::string title = {};   // "Weekly sync"
  std::string before = {};  // what stands before the word: "2025-07-01 Weekly sync - "; "" without a word
  std::string behind = {};  // what stands behind it: " 2"
};

// Without the number, and the space before it, that a name ends with when another note has the name already.
std::string_view withoutNumber(std::string_view name) {
  std::string_view rest = name;
  while (!rest.empty() && ascii::isDigit(rest.back())) rest.remove_suffix(1);
  if (rest.size() == name.size() || !rest.ends_with(' ')) return name;
  return rest.substr(0, rest.size() - 1);
}

// "2025-07-01 ": what stands before the word when a meeting has no title.
bool isDayAlone(std::string_view text) {
  return text.size() == 11 && text.ends_with(' ') && time::parseDay(text.substr(0, 10));
}

NoteName nameOf(const Note& note, Kind kind) {
  const std::string whole = text::nfc(note.fileName());
  const std::string_view unnumbered = withoutNumber(whole);
  NoteName name;
  std::string_view title = whole;
  for (const Language language : languages) {
    const std::string_view word = MeetingNote::word(kind, language);
    if (!unnumbered.ends_with(word)) continue;
    const std::string_view before = unnumbered.substr(0, unnumbered.size() - word.size());
    if (!before.ends_with(" - ") && !isDayAlone(before)) continue;  // a word of the title's own
    name.before = before;
    name.behind = whole.substr(unnumbered.size());
    title = name.before;
    if (title.ends_with(" - ")) title.remove_suffix(3);
  }
  name.day = time::parseDay(title.substr(0, 10));
  if (name.day) title.remove_prefix(10);
  name.title = text::trimWhitespace(title);
  if (name.title.empty()) name.title = whole;
  return name;
}

// The transcripts by their paths, and by their names alone.
class Transcripts {
 public:
  explicit Transcripts(const std::vector<NoteRef>& notes) {
    for (const NoteRef& note : notes) byPath_.emplace(text::key(joinPath(note->folderPath(), note->fileName())), note);
    for (const NoteRef& note : notes) byPath_.emplace(text::key(note->fileName()), note);  // unless a path is the same
  }

  NoteRef of(const Note& summary, const NoteName& name) const {
    if (!summary.links.empty()) {
      const std::string_view link = summary.links.back();
      if (NoteRef linked = near(summary, link)) return linked;
      if (NoteRef linked = near(summary, lastComponent(link))) return linked;
    }
    if (name.before.empty()) return nullptr;
    for (const Language language : languages) {
      const std::string_view word = MeetingNote::word(Kind::transcript, language);
      if (NoteRef named = near(summary, std::string(name.before).append(word).append(name.behind))) return named;
    }
    return nullptr;
  }

 private:
  NoteRef at(std::string_view path) const {
    const auto found = byPath_.find(text::key(path));
    return found == byPath_.end() ? nullptr : found->second;
  }

  // In the note's own folder first, then wherever there is one.
  NoteRef near(const Note& note, std::string_view name) const {
    NoteRef beside = at(joinPath(note.folderPath(), name));
    return beside ? beside : at(name);
  }

  std::unordered_map<std::string, NoteRef> byPath_;
};

Timestamp madeAt(const Note& note) { return note.created == distantPast ? note.modified : note.created; }

const Note& noteOf(const SavedMeeting& meeting) { return meeting.summary ? *meeting.summary : *meeting.transcript; }

bool isNewer(const SavedMeeting& a, const SavedMeeting& b) {
  if (a.day != b.day) return a.day > b.day;
  return madeAt(noteOf(a)) > madeAt(noteOf(b));
}

}  // namespace

std::vector<SavedMeeting> savedMeetings(const VaultSnapshot& snapshot, const Calendar& calendar) {
  const std::vector<NoteRef> transcriptNotes = snapshot.notesTagged(transcriptTag);
  const Transcripts transcripts(transcriptNotes);
  const std::unordered_set<NoteRef> areTranscripts(transcriptNotes.begin(), transcriptNotes.end());
  std::unordered_set<NoteRef> paired;
  std::vector<SavedMeeting> meetings;
  const auto add = [&](const NoteName& name, NoteRef summary, NoteRef transcript) {
    const Day day = name.day ? *name.day : calendar.day(madeAt(summary ? *summary : *transcript));
    meetings.push_back({day, name.title, std::move(summary), std::move(transcript)});
  };
  for (const NoteRef& note : snapshot.notesTagged(MeetingNote::tag)) {
    if (areTranscripts.contains(note)) continue;
    const NoteName name = nameOf(*note, Kind::summary);
    NoteRef transcript = transcripts.of(*note, name);
    if (transcript) paired.insert(transcript);
    add(name, note, std::move(transcript));
  }
  for (const NoteRef& note : transcriptNotes)
    if (!paired.contains(note)) add(nameOf(*note, Kind::transcript), nullptr, note);
  std::stable_sort(meetings.begin(), meetings.end(), isNewer);
  return meetings;
}

}  // namespace vesk
