#pragma once

#include <array>
#include <string>
#include <string_view>

#include "core/base/Calendar.h"
#include "core/base/Language.h"
#include "core/meetings/LiveMeeting.h"
#include "core/vault/Vault.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// The two notes that remain of a meeting: its transcript, and a summary that ends with a link to it.
namespace MeetingNote {

inline constexpr std::string_view tag = "meeting";  // of both; the transcript has transcriptTag, too

enum class Kind { transcript, summary };

// "Transcript", "Resumo".
std::string_view word(Kind kind, Language language);

// The words for the speaker in the three languages: "Me", "Eu", "Yo".
const std::array<std::string_view, 3>& words(MeetingSpeaker speaker);

// "**[14:05] Others:** We ship on Tuesday.", the speaker in the user's language. One line whatever the text holds.
std::string render(const TranscriptLine& line, const Calendar& calendar, Language language);

// The transcript note's text.
std::string body(const LiveMeeting& meeting, const Calendar& calendar, Language language);

// The title of either note: "2025-07-01 Weekly sync - Transcript". A long title is cut so that the word behind it still
// fits in a file's name. One that isn't UTF-8 or says nothing is left out: "2025-07-01 Transcript".
std::string name(const LiveMeeting& meeting, Kind kind, const Calendar& calendar, Language language);

// The summary note's text: the summary, trimmed, and a link to the note that holds the transcript.
std::string summaryBody(std::string_view summary, std::string_view transcriptTitle);

}  // namespace MeetingNote

// Where a vault keeps both notes: "Meetings" (or "Reuniões" or "Reuniones", when that is there) among its resources.
// The folder need not be there yet.
std::string meetingsFolder(const VaultSnapshot& snapshot);

// Make the two notes in a folder and return their noteIDs; what Vault::createNote throws passes through. A name that is
// taken gets a number, so the summary is to be given the name that its transcript has got: the last component of its
// noteID, without ".md". (As for any title, what a file's name can't carry is taken out of it.)
std::string saveMeeting(const Vault& vault, const LiveMeeting& meeting, std::string_view folder,
                        const Calendar& calendar, Language language);
std::string saveSummary(const Vault& vault, std::string_view summary, const LiveMeeting& meeting,
                        std::string_view transcriptTitle, std::string_view folder, const Calendar& calendar,
                        Language language);

}  // namespace vesk
