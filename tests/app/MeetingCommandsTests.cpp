#include "core/meetings/LiveMeeting.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* noMeeting =
    "vesk: No meeting is being transcribed right now. Start one with vesk meeting start TITLE.\n";

// An open vault in which no meeting is being transcribed.
class MeetingCommands : public testing::Test {
 protected:
  MeetingCommands() {
    vault.write("Resources/Reuniões/.keep", "");
    vesk({"open", vault.path()});
  }

  ProgramResult meeting(std::vector<std::string> arguments, const RunOptions& options = {}) const {
    arguments.insert(arguments.begin(), "meeting");
    return vesk(arguments, options);
  }

  // The transcript so far without the times, a line each: "Me: Hello"
  std::string said() const {
    std::string text;
    const LiveMeeting meeting = LiveMeeting::load(vault.supportDirectory()).value();
    for (const TranscriptLine& line : meeting.lines)
      text += (line.speaker == MeetingSpeaker::me ? "Me: " : "Others: ") + line.text + "\n";
    return text;
  }

  TemporaryFolder vault;
};

TEST_F(MeetingCommands, KeepATranscriptAndMakeItANote) {
  for (const char* command : {"say", "show", "stop"}) EXPECT_EQ(meeting({command}).errors, noMeeting) << command;
  vault.write("../support/live-meeting.json", "{\"title\":\"half");
  EXPECT_THAT(meeting({"start", "Weekly", "sync"}).errors, HasSubstr("held no whole meeting. It is kept"));
  EXPECT_EQ(meeting({"start", "Another"}).exitStatus, 1);
  EXPECT_THAT(meeting({"say", "Shall we", "ship?"}).output, MatchesRegex("\\[..:..\\] Me: Shall we ship\\?\n"));
  EXPECT_EQ(
      meeting({"say", "--others"}, {.input = "Ana: Yes\x1b\n\n  eu :  And\tI?\nNo\rNot n\rNot now\r\nla\xffst"}).output,
      "Added 4 lines to Weekly sync.\n");
  EXPECT_EQ(said(), "Me: Shall we ship?\nOthers: Ana: Yes\x1b\nMe: And I?\nOthers: Not now\nOthers: la\uFFFDst\n");
  EXPECT_THAT(meeting({"show"}).output, AllOf(StartsWith("Weekly sync\nsince 2"), HasSubstr(", 5 lines\n\n["),
                                              HasSubstr("] Others: Ana: Yes\uFFFD\n")));

  // No note, no end.
  vault.write("../support/ai-access.json", R"({"vaultPath": "/nowhere"})");
  EXPECT_EQ(meeting({"stop"}).exitStatus, 1);
  EXPECT_THAT(said(), HasSubstr("Not now"));
  vesk({"open", vault.path()});
  const std::string saved = meeting({"stop"}, {.environment = {{"LC_ALL", "pt_PT"}}}).output;
  EXPECT_THAT(saved,
              MatchesRegex("Saved Weekly sync, 5 lines.\n  Resources/Reuniões/.* Weekly sync - Transcrição.md\n"));
  EXPECT_THAT(vault.read(saved.substr(saved.find("Resources"), saved.size() - saved.find("Resources") - 1)),
              HasSubstr("Eu:** Shall we ship?\n\n"));
  EXPECT_EQ(meeting({"show"}).errors, noMeeting);
}

TEST_F(MeetingCommands, LoseNoLineOfSeveralRecognisers) {
  meeting({"start", "Call"});
  std::string lines;
  for (int i = 0; i < 5'000; ++i) lines += "line " + std::to_string(i) + "\n";
  {
    RunningProgram other(veskCommand({"meeting", "say", "--others"}), {.input = lines});
    EXPECT_EQ(meeting({"say"}, {.input = lines}).output, "Added 5000 lines to Call.\n");
    EXPECT_EQ(other.finish().output, "Added 5000 lines to Call.\n");
  }
  EXPECT_EQ(LiveMeeting::load(vault.supportDirectory())->lines.size(), 10'000u);

  // Each line that is there is written, though the input goes on; and none into a meeting that began later.
  EXPECT_EQ(meeting({"stop", "--discard"}).exitStatus, 1);
  meeting({"stop", "--discard", "--yes"}), meeting({"start", "First"});
  const ProgramResult late =
      runProgram({"/bin/sh", "-c",
                  "cd '" + vault.path() +
                      "'; vesk='" VESK_BIN_DIR "/vesk meeting'; mkfifo lines; $vesk say <lines & exec 4>lines;"
                      "echo early >&4; until $vesk show | grep -q early; do sleep 0.05; done;"
                      "$vesk stop; $vesk start Second; echo late >&4; exec 4>&-; wait $!"});
  EXPECT_EQ(late.errors, "vesk: The meeting is over, and 1 line came too late for it.\n");
  EXPECT_EQ(said(), "");
}

TEST_F(MeetingCommands, ListMeetingsAndImportOthers) {
  EXPECT_EQ(meeting({"list"}).errors, "No meeting was found.\n");
  const RunOptions utc = {.environment = {{"TZ", "UTC"}}};
  vault.write("2026-11-20 Weekly_call.vtt",
              "WEBVTT\n\n0:05.000 --> 0:07.000\n<v Bea>We ship.\n\n"
              "1:00:09.000 --> 1:00:10.000\n<v Ana>On Tuesday.\n");
  const std::string file = vault.at("2026-11-20 Weekly_call.vtt");
  EXPECT_EQ(meeting({"import", file, "--me", "bea"}, utc).output,
            "Imported 2 lines, 1 of them yours, from 2026-11-20 00:00 to 01:00.\n"
            "  Resources/Reuniões/2026-11-20 Weekly_call - Transcript.md\n");
  EXPECT_THAT(meeting({"import", file, "--title", " A  b ", "--start", "2026-11-19 23:30"}, utc).output,
              HasSubstr("from 2026-11-19 23:30 to 00:30.\n  Resources/Reuniões/2026-11-19 A b - Transcript.md\n"));
  vault.write("Resources/Reuniões/2026-11-20 Weekly_call - Summary.md",
              "#meeting\n[[2026-11-20 Weekly_call - Transcript]]");
  EXPECT_EQ(meeting({"list", "--limit", "1"}, utc).output,
            "2026-11-20  Weekly_call\n"
            "    Summary     Resources/Reuniões/2026-11-20 Weekly_call - Summary.md\n"
            "    Transcript  Resources/Reuniões/2026-11-20 Weekly_call - Transcript.md\n");
  EXPECT_EQ(meeting({"import", file, "--start", "2026-11-19"}).exitStatus, 2);
  for (const std::string& missing : {vault.path(), vault.at("none.srt")})
    EXPECT_EQ(meeting({"import", missing}).exitStatus, 1) << missing;
  EXPECT_EQ(meeting({"import", "two\nlines\x1b"}).errors,
            "vesk: Can't read two\nlines\uFFFD: No such file or directory.\n");
}

}  // namespace

}  // namespace vesk::test
