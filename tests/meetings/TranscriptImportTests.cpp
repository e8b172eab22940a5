#include <algorithm>

#include "core/meetings/MeetingNote.h"
#include "core/meetings/TranscriptImport.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

const Calendar lisbon("Europe/Lisbon");
const Timestamp elevenPM = *time::parseIso8601("2025-07-01T22:00:00Z");

std::string imported(std::string_view file) {
  return LiveMeeting{.lines = importTranscript(file, elevenPM, lisbon, " ana SILVA ")}.transcript({}, lisbon);
}

TEST(TranscriptImport, ReadsThreeFormats) {
  const std::pair<const char*, const char*> cases[] = {
      {"\uFEFFWEBVTT - a call\r\nKind: captions\r\n\r\nNOTE\r\nnothing said\r\n\r\n"
       "intro\r\n00:05.000 --> 00:07.000 align:start\r\n<v.loud Ana Silva>Hi <i>all</i>,\r\nI'm "
       "&lt;here&gt;.</v>\r\n\r\n"
       "61:00:00.000 --> 61:00:01.000\r\n<v Rui>Olá.</v> <v Ana Silva></v><v Eva>3 < 4 <\r\n\r\nNOTE a\nb\n\r\nI <3 "
       "that. <so>\r\n",
       "[23:00] Me: Hi all, I'm <here>.\n[12:00] Others: Rui: Olá.\n[12:00] Others: Eva: 3 < 4 < I <3 that. <so>"},
      {"1\n00:01:00,000 --> 00:01:02,000\nMe: one\ntwo\n\n2\n00:02:00,500 --> 00:02:01,000\nOUTROS : Bye\n\n3\n"
       "00:03:00,000 --> 00:03:01,000\n\n",
       "[23:01] Me: one two\n[23:02] Others: Bye"},
      {"Rui: 10:30 then.\n\n0:59 Yo: Hi\n**1:00:00 Rui:** there\rno name\n[00:10] Ana Silva: late\n[00:05] others:x\n"
       "[02:00:00] y\n[a] 12345:00 z\n",
       "[23:00] Others: Rui: 10:30 then.\n[23:00] Me: Hi\n[00:00] Others: Rui: there\n[00:00] Others: no name\n"
       "[00:10] Me: late\n[00:05] Others: x\n[01:00] Others: y\n[01:00] Others: [a] 12345:00 z"},
      {"7\n00:00:01,000 --> 00:00:02,000\n\n<B>Hi.</B>\n\n42\n9\n00:01:00,000 --> 00:01:02,000\nNOTE "
       "one\n\n\ntwo\n12\n\n"
       "00:02:00,000 --> 00:02:02,000\n\n3\n00:03:00,000 --> 00:03:00,000\nend\n\n13",
       "[23:00] Others: Hi. 42\n[23:01] Others: NOTE one two\n[23:03] Others: end 13"},
      {"00:01 --> 00:02\nNOTE a\n12\n00:03 --> 00:04\nb", "[23:00] Others: NOTE a 12\n[23:00] Others: b"},
      {"WEBVTT\n\n00:01.000 --> 00:02.000\n<00:00:01.000>a\n12\n\nname\n00:03.000 --> 00:04.000\nb\n\nc\nd\n"
       "00:05.000 --> 00:06.000\n",
       "[23:00] Others: a 12\n[23:00] Others: b c d"},
      {"a --> b\n00:01 -> c\n", "[23:00] Others: a --> b\n[23:00] Others: -> c"},
  };
  for (const auto& [file, lines] : cases) EXPECT_EQ(imported(file), lines);
}

TEST(TranscriptImport, ReadsVesksOwnNotes) {
  LiveMeeting meeting{.started = elevenPM};
  for (const MeetingSpeaker speaker : {MeetingSpeaker::me, MeetingSpeaker::others})
    for (const int minutes : {0, 59, 61, 12 * 60})
      meeting.lines.push_back(
          newTranscriptLine(speaker, "**Ana:** a 0:05 b: c", elevenPM + std::chrono::minutes(minutes)));
  std::rotate(meeting.lines.begin(), meeting.lines.begin() + 4, meeting.lines.begin() + 5);
  for (const Language language : {Language::english, Language::portuguese, Language::spanish}) {
    const std::string note = "---\ntags: [meeting]\n---\n" + MeetingNote::body(meeting, lisbon, language);
    auto lines = importTranscript(note, elevenPM, lisbon);
    ASSERT_EQ(lines.size(), meeting.lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) lines[i].id = meeting.lines[i].id;
    EXPECT_EQ(LiveMeeting{.lines = lines}.transcript({}, lisbon), meeting.transcript({}, lisbon));
  }
}

TEST(TranscriptImport, SaysWhyAFileIsRefused) {
  std::string many;
  for (int i = 0; i <= 100'000; ++i) many += "a\n";
  const std::pair<std::string, const char*> cases[] = {
      {"", "There's no transcript in this file."},
      {"WEBVTT\n\nNOTE a\n\n00:01.000 --> 00:02.000\n<v Ana></v><i>\n", "There's no transcript in this file."},
      {"---\ntags: [a]\n---\n [00:05] \n", "There's no transcript in this file."},
      {"caf\xE9", "This isn't UTF-8 text. Save the transcript as UTF-8 and import it again."},
      {many, "This transcript has more than 100,000 lines."}};
  for (const auto& [file, sentence] : cases)
    EXPECT_THAT([&] { imported(file); }, testing::ThrowsMessage<Error>(sentence)) << file.substr(0, 50);
}

}  // namespace
}  // namespace vesk
