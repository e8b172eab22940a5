#include <fmt/format.h>

#include "core/meetings/MeetingList.h"
#include "core/meetings/MeetingNote.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using testing::ElementsAre;

constexpr auto english = Language::english;
constexpr auto portuguese = Language::portuguese;
constexpr auto spanish = Language::spanish;

class MeetingNotes : public test::VaultTest {
 protected:
  std::string saveTranscript(const std::string& title, Language language = english) {
    meeting.title = title;
    return saveMeeting(vault, meeting, "Meetings", kiritimati, language);
  }
  std::string saveItsSummary(std::string_view text, std::string_view transcript, Language language = english) {
    return saveSummary(vault, text, meeting, transcript, "Meetings", kiritimati, language);
  }
  // "day title: summary + transcript" of each.
  std::vector<std::string> listed() const {
    std::vector<std::string> texts;
    for (const SavedMeeting& each : savedMeetings(vault.scan(), kiritimati))
      texts.push_back(fmt::format("{} {}: {} + {}", time::isoDay(each.day), each.title,
                                  each.summary ? each.summary->id : "none",
                                  each.transcript ? each.transcript->id : "none"));
    return texts;
  }

  const Calendar kiritimati{"Pacific/Kiritimati"};  // fourteen hours ahead
  LiveMeeting meeting{
      .title = "Weekly sync",
      .started = *time::parseIso8601("2025-06-30T10:00:00Z"),
      .lines = {{"a", MeetingSpeaker::me, "Hi.", *time::parseIso8601("2025-06-30T10:05:59Z")},
                {"b", MeetingSpeaker::others, "Bye\n# now.", *time::parseIso8601("2025-06-30T11:00:00Z")}}};
};

TEST_F(MeetingNotes, AreWrittenInTheUsersLanguage) {
  const std::pair<Language, const char*> cases[] = {
      {english, "**[00:05] Me:** Hi.\n\n**[01:00] Others:** Bye # now.\n"},
      {portuguese, "**[00:05] Eu:** Hi.\n\n**[01:00] Outros:** Bye # now.\n"},
      {spanish, "**[00:05] Yo:** Hi.\n\n**[01:00] Otros:** Bye # now.\n"}};
  for (const auto& [language, body] : cases) EXPECT_EQ(MeetingNote::body(meeting, kiritimati, language), body);
  const std::string transcript = saveTranscript("A/B: test", portuguese);
  EXPECT_EQ(transcript, "Meetings/2025-07-01 A B test - Transcrição.md");
  EXPECT_EQ(folder.read(transcript), fmt::format("---\ntags: [meeting, meeting-transcript]\n---\n{}", cases[1].second));
  const std::string summary = saveItsSummary("\n---\nDone. \n", "2025-07-01 A/B: test - Transcrição", portuguese);
  EXPECT_EQ(summary, "Meetings/2025-07-01 A B test - Resumo.md");
  EXPECT_EQ(folder.read(summary),
            "---\ntags: [meeting]\n---\n\n---\nDone.\n\n---\n\n[[2025-07-01 A B test - Transcrição]]\n");
}

TEST_F(MeetingNotes, AreSavedWhateverTheTitle) {
  std::string accents = "a";
  while (accents.size() < 10'000) accents += "\u0301";
  const std::pair<std::string, std::string> cases[] = {
      {"", "2025-07-01 Transcript"},
      {" \n", "2025-07-01 Transcript 2"},
      {"\xFF", "2025-07-01 Transcript 3"},
      {accents, "2025-07-01 Transcript 4"},
      {"../\n\\x", "2025-07-01 .. x - Transcript"},
      {"///", "2025-07-01 - Transcript"},
      {"\u202E", "2025-07-01 \u202E - Transcript"},
      {std::string(10'000, 'a'), "2025-07-01 " + std::string(80, 'a') + " - Transcript"}};
  for (const auto& [title, name] : cases) EXPECT_EQ(saveTranscript(title), "Meetings/" + name + ".md");
}

TEST_F(MeetingNotes, LieAmongTheResources) {
  EXPECT_EQ(meetingsFolder(vault.scan()), "Resources/Meetings");
  folder.write("03 - resources/meetings/a.md", "");
  EXPECT_EQ(meetingsFolder(vault.scan()), "03 - resources/Meetings");
  folder.write("03 - resources/Reunio\u0303es/a.md", "");
  EXPECT_EQ(meetingsFolder(vault.scan()), "03 - resources/Reunio\u0303es");
  folder.write("03 - resources/Meetings/a.md", "");
  EXPECT_EQ(meetingsFolder(vault.scan()), "03 - resources/Meetings");
  vault.save(Organization{Organization::Method::custom, {}});
  EXPECT_EQ(meetingsFolder(vault.scan()), "Resources/Meetings");
}

TEST_F(MeetingNotes, AreListedInPairs) {
  saveTranscript("Weekly sync", spanish);
  saveItsSummary("Spoken", "2025-07-01 Weekly sync - Transcripción", spanish);
  saveTranscript("Weekly sync", spanish);  // takes " 2"
  saveItsSummary("[[x]]", "2025-07-01 Weekly sync - Transcripción 2", english);
  meeting.started += std::chrono::days(1);
  saveTranscript("Plans");
  folder.write("Projects/2025-07-02 plans - Summary.md", "#meeting, moved, without its link. [[Elsewhere]]");
  folder.write("Projects/2025-07-03 Executive Summary.md", "#meeting");
  folder.write("2025-07-04 - Transcript.md", "#meeting-transcript");
  EXPECT_THAT(
      listed(),
      ElementsAre(
          "2025-07-04 2025-07-04 - Transcript: none + 2025-07-04 - Transcript.md",
          "2025-07-03 Executive Summary: Projects/2025-07-03 Executive Summary.md + none",
          "2025-07-02 plans: Projects/2025-07-02 plans - Summary.md + Meetings/2025-07-02 Plans - Transcript.md",
          "2025-07-01 Weekly sync: Meetings/2025-07-01 Weekly sync - Summary.md + "
          "Meetings/2025-07-01 Weekly sync - Transcripción 2.md",
          "2025-07-01 Weekly sync: Meetings/2025-07-01 Weekly sync - Resumen.md + "
          "Meetings/2025-07-01 Weekly sync - Transcripción.md"));
}

}  // namespace
}  // namespace vesk
