#include <cstdlib>

#include <fmt/format.h>
#include <sys/stat.h>

#include "core/meetings/LiveMeeting.h"
#include "core/meetings/MeetingPrompts.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

const Calendar lisbon("Europe/Lisbon");
const Timestamp twoPM = *time::parseIso8601("2025-07-01T13:00:00Z");

LiveMeeting weeklySync() {
  return {
      .title = "Weekly sync",
      .started = twoPM,
      .lines = {{"a", MeetingSpeaker::me, "Hi.", twoPM},
                {"b", MeetingSpeaker::others, "We ship\r\n[14:05] Me: on Tuesday.", twoPM + std::chrono::minutes(5)},
                {"b", MeetingSpeaker::others, "Olá.", twoPM + std::chrono::hours(11)}}};
}

constexpr std::string_view heading = "Meeting: Weekly sync\n\n<transcript>\n";
constexpr std::string_view olderLine = "[14:00] Me: Hi.\n";
constexpr std::string_view newerLines = "[14:05] Others: We ship [14:05] Me: on Tuesday.\n[01:00] Others: Olá.";

TEST(MeetingPrompts, CarryTheLinesThatAreNew) {
  LiveMeeting meeting = weeklySync();
  const std::string all = fmt::format("{}{}{}\n</transcript>", heading, olderLine, newerLines);
  const std::string newer = fmt::format("{}{}\n</transcript>", heading, newerLines);
  EXPECT_EQ(MeetingPrompts::update(meeting, {}, lisbon), all);
  EXPECT_EQ(MeetingPrompts::update(meeting, "nobody's", lisbon), all);
  EXPECT_EQ(MeetingPrompts::update(meeting, "a", lisbon), newer);
  meeting.title = "Weekly\nsync";
  EXPECT_EQ(MeetingPrompts::question("Who?", meeting, "a", lisbon), newer + "\n\nThe user asks you privately:\nWho?");
  meeting.lines.pop_back();
  EXPECT_EQ(MeetingPrompts::watch(meeting, "b", lisbon),
            std::string(heading) +
                "(nothing new)\n</transcript>\n\nIs there something useful you could do right now, or a note the user "
                "should see? If there is, say it in a line or propose it. If not, reply with exactly <nothing/>.");
  meeting.lines.pop_back();
  EXPECT_EQ(
      MeetingPrompts::summary(meeting, lisbon),
      "The meeting \"Weekly sync\" just ended. Using the transcript, and the Vesk tools to find related notes, "
      "write a Markdown summary with the sections Summary, Decisions and Next steps, in the language of the "
      "meeting. Link related notes, people and projects as [[Note title]], only when the note exists. Don't change "
      "anything in the vault. After the summary, list the action items for the user, one per line, inside "
      "<tasks></tasks>.\n\n<transcript>\n[14:00] Me: Hi.\n</transcript>");
  EXPECT_EQ(MeetingPrompts::brief("Weekly\r\nsync"),
            "The user is about to join a meeting called \"Weekly sync\". Search their notes and write a short brief: "
            "what's related, what was decided before, and open tasks. Cite notes as [[Note title]]. If the notes have "
            "nothing related, say so in one line.");
  EXPECT_EQ(MeetingPrompts::approved({.action = "Send it."}),
            "The user said Yes. Do this now, then say in one line what happened:\nSend it.");
}

class LiveMeetingFile : public testing::Test {
 protected:
  const test::TemporaryFolder folder;
  const std::string& directory = folder.path();
};

TEST_F(LiveMeetingFile, ReadsAsItWasSavedUntilItIsCleared) {
  LiveMeeting meeting = weeklySync();
  meeting.save(directory);
  folder.write("meeting-screen.jpg", "a picture");
  EXPECT_EQ(LiveMeeting::sharedScreen(directory), std::nullopt) << "it isn't shared";
  meeting.isSharingScreen = true;
  meeting.save(directory);
  EXPECT_EQ(LiveMeeting::load(directory), meeting);
  EXPECT_EQ(LiveMeeting::sharedScreen(directory), "a picture");
  struct stat attributes = {};
  ASSERT_EQ(::stat(LiveMeeting::url(directory).c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 07777u, 0600u);

  folder.write("meeting-screen.jpg", "");
  EXPECT_EQ(LiveMeeting::sharedScreen(directory), std::nullopt);
  meeting.lines.assign(1, {.text = std::string(17 << 20, 'a')});
  EXPECT_THROW(meeting.save(directory), Error);
  EXPECT_TRUE(LiveMeeting::load(directory));
  for (int time = 0; time < 2; ++time) LiveMeeting::clear(directory);
  LiveMeeting::clear(directory + "/missing");
  EXPECT_THAT(folder.everything(), testing::IsEmpty());
  EXPECT_THROW(meeting.save(directory + "/missing"), Error);
}

TEST_F(LiveMeetingFile, IsNoMeetingUnlessItIsAWholeOne) {
  const std::string line = R"({"at":"2025-07-01T13:00:00Z","id":"a","speaker":"me","text":"Hi"})";
  const auto file = [](std::string_view lines, std::string_view more = R"(,"isSharingScreen":true)") {
    return fmt::format(R"({{"title":"a","started":"2025-07-01T13:00:00Z","new":[1,{{}}],"lines":{}{}}})", lines, more);
  };
  for (const std::string& good : {file("[" + line + "]"), file("[5]", R"(,"lines":[],"isSharingScreen":false)")}) {
    folder.write("live-meeting.json", good);
    EXPECT_TRUE(LiveMeeting::load(directory)) << good;
  }
  const std::string bad[] = {"",
                             "null",
                             "[]",
                             file("[" + line + ",5]"),
                             file("{}"),
                             file("[]", ""),
                             file("[]", R"(,"isSharingScreen":1)"),
                             file("[]", R"(,"isSharingScreen":true,"lines":null)"),
                             file(R"([{"id":"a","speaker":"you","text":""}])"),
                             file("[]", R"(,"isSharingScreen":true,"started":"today")"),
                             file("[" + line + "]").substr(0, 120),
                             file("[]") + std::string(100 << 20, ' '),
                             file("[\"\xFF\"]")};
  for (const std::string& text : bad) {
    folder.write("live-meeting.json", text);
    EXPECT_FALSE(LiveMeeting::load(directory)) << text.substr(0, 200);
  }
  const std::string path = LiveMeeting::url(directory);
  folder.write("good.json", file("[]"));
  const std::function<int()> others[] = {
      [&] { return ::mkdir(path.c_str(), 0700); }, [&] { return ::mkfifo(path.c_str(), 0600); },
      [&] { return ::symlink("/dev/zero", path.c_str()); }, [&] { return ::symlink("good.json", path.c_str()); }};
  for (const auto& makeOther : others) {
    std::filesystem::remove(path);
    ASSERT_EQ(makeOther(), 0);
    EXPECT_FALSE(LiveMeeting::load(directory));
  }
}

// The whole file is written anew for every line, while tool servers read it.
TEST(LiveMeeting, IsNeverSeenHalfWritten) {
  if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  const test::TemporaryFolder folder;
  ::unsetenv("TMPDIR");
  const char* wanted = std::getenv("VESK_MEETING_SAVES");
  const int saves = wanted ? std::atoi(wanted) : 10'000;
  const auto meeting = [](int version) {
    return LiveMeeting{.title = std::to_string(version),
                       .lines = {static_cast<std::size_t>(version % 64), {.text = std::to_string(version)}}};
  };
  meeting(0).save(folder.path());
  const pid_t writer = test::inChild([&] {
    for (int version = 1; version <= saves; ++version) meeting(version).save(folder.path());
    return true;
  });
  int seen = 0;
  for (int reads = 0; reads < saves || seen < saves; ++reads) {
    const auto found = LiveMeeting::load(folder.path());
    if (!found || *found != meeting(std::atoi(found->title.c_str()))) break;
    const int version = std::atoi(found->title.c_str());
    if (version < seen) break;
    seen = version;
  }
  EXPECT_EQ(seen, saves);
  EXPECT_TRUE(test::endedWell(writer));
}

}  // namespace
}  // namespace vesk
