#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/base/Base64.h"
#include "core/base/Text.h"
#include "core/meetings/LiveMeeting.h"
#include "core/sync/GitSync.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/Undo.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::repeated;
using test::ServedVault;
using testing::HasSubstr;

class InsightTools : public testing::Test {
 protected:
  InsightTools() {
    vault.allowAll(ApprovalLevel::trusted);
    vault.folder.write("Projects/Site/Context.md", "---\nvesk: true\n---\n# Goal\nA site for the school.\n");
    vault.folder.write("Projects/Site/Plan.md", "[[Camelia]] [[Lime]] #garden\n- [ ] Buy #prio/high\n- [x] Ask\n");
    vault.folder.write("Projects/Shed/Plan.md", "Old boards, and a roof of tin to be found somewhere.\n");
    vault.folder.write("Areas/Home/Lime.md", "Lime wash for [[Plan]]. #garden\n- [ ] Mix #prio/high\n");
    vault.folder.write("Resources/Plants/Camellia.md", "Likes shade.\n");
    vault.folder.write("Inbox/Idea.md", "");
  }

  std::string shown(std::string_view tool, std::string_view key, std::string_view arguments = "{}") const {
    return vault.json(tool, arguments).find(key)->compact();
  }

  const ServedVault vault;
  const std::string support = vault.folder.supportDirectory();
};

TEST_F(InsightTools, SayHowTheVaultIsDoing) {
  EXPECT_EQ(shown("get_overview", "waiting_in_inbox"), "1");
  EXPECT_EQ(vault.json("get_overview").find("notes_saved_per_day")->object()->size(), 15U);
  const Json shed = vault.json("list_collections", R"({"kind":"project"})").find("collections")->array()->front();
  EXPECT_EQ(shed.find("path")->compact() + shed.find("status")->compact(), R"("Projects/Shed""Active")");
  EXPECT_EQ(shown("list_collections", "total"), "4");
  EXPECT_THAT(shown("list_collections", "collections", R"({"kind":"area"})"), HasSubstr(R"("open_tasks":1)"));
  EXPECT_EQ(vault.failure("list_collections", R"({"kind":"book"})"), "The kind must be project, area or topic.");

  const Json map = vault.json("get_connections").find("connections")->array()->front();
  EXPECT_EQ(*map.find("first")->string() + " " + *map.find("second")->string(), "Projects/Site Areas/Home");
  EXPECT_EQ(map.find("links")->compact(), R"([{"from":"Projects/Site/Plan.md","to":"Areas/Home/Lime.md"}])");
  EXPECT_EQ(map.find("tags")->array()->size(), 1U);

  EXPECT_EQ(shown("get_context_health", "counts"),
            R"({"broken_link":1,"duplicate":2,"empty":1,"isolated":1,"missing_context":1})");
  EXPECT_THAT(shown("get_context_health", "issues"), HasSubstr("Camellia"));  // what was meant by Camelia
}

TEST_F(InsightTools, CountTheUsersOwnTasks) {
  vault.folder.write("Inbox/Quote.md", "Of the stonemason.\n");
  vault.folder.write("Inbox/Terms.md", "Of the lease.\n");
  vault.folder.write("Areas/Home/Roof.md", "- [ ] Send [[Quote]]\n- [x] Measure\n- [ ] \n```\n- [ ] code\n```\n");
  vault.folder.write("Areas/Home/Chat.md", "---\ntags: [ai-conversation]\n---\n- [ ] theirs [[Idea]]\n");
  vault.folder.write("Archive/Lease.md", "- [ ] Sign [[Terms]]\n");
  EXPECT_EQ(shown("get_overview", "waiting_in_inbox"), "2") << "all but what describes a task";
  EXPECT_EQ(shown("list_notes", "total", R"({"unsorted":true})"), "2");
  const Json home = vault.json("list_collections", R"({"kind":"area"})").find("collections")->array()->front();
  EXPECT_EQ(home.find("open_tasks")->compact() + "/" + home.find("done_tasks")->compact(), "2/1");
}

TEST_F(InsightTools, ListWhatAQueryAsksFor) {
  EXPECT_THAT(shown("run_query", "notes", R"({"query":"folder: Areas\ntag: garden"})"),
              HasSubstr("Areas/Home/Lime.md"));
  EXPECT_EQ(shown("run_query", "total", R"({"query":"sort: title\nlimit: 2"})"), "2");
  EXPECT_EQ(shown("run_query", "total", R"({"query":"text: ROOF of\ntext: boards"})"), "1");
  EXPECT_EQ(shown("run_query", "total", R"({"query":"text: idea"})"), "1");  // a title that only the file's name gives
  EXPECT_EQ(vault.failure("run_query"), "A query is required.");
  EXPECT_THAT(vault.failure("run_query", R"({"query":"colour: red"})"), HasSubstr("folder"));
  EXPECT_EQ(shown("list_unprocessed_sources", "total"), "0");
}

TEST_F(InsightTools, KnowAProjectByItsSummary) {
  const std::string map = vault.text("get_context_map");
  EXPECT_THAT(map, HasSubstr("A site for the school."));
  EXPECT_EQ(shown("get_project_context", "context", R"({"project":"site"})"), R"("# Goal\nA site for the school.\n")");
  EXPECT_EQ(shown("get_project_context", "notes", R"({"project":"Projects/Shed"})").find("Context"), std::string::npos);
  constexpr const char* unknown = "No project has that name. Use get_context_map to see the options.";
  EXPECT_EQ(vault.failure("get_project_context", R"({"project":"Home"})"), unknown);
  EXPECT_EQ(vault.failure("get_project_context"), "A project path or name is required.");
  EXPECT_EQ(vault.failure("update_project_context", R"({"project":"Site","text":" "})"),
            "The context text is required.");
  vault.folder.write("Projects/Old/Context.md", "\xFF\xFE");
  EXPECT_THAT(vault.failure("update_project_context", R"({"project":"Old","text":"New"})"), HasSubstr("UTF-8"));

  // For a project without a summary and for one with it; each as it was shown, and undone.
  vault.allowAll(ApprovalLevel::important);
  const auto before = test::contentsOf(vault.folder.path());
  const ProposalStore store(support);
  for (const char* project : {"Shed", "Site"}) {
    vault.text("update_project_context", fmt::format(R"({{"project":"{}","text":"New goal"}})", project));
    const Proposal proposal = store.all().at(0);
    EXPECT_EQ(proposal.notePath, fmt::format("Projects/{}/Context.md", project));
    vault.server.apply(proposal);
    EXPECT_EQ(vault.folder.read(*proposal.notePath), "---\nvesk: true\n---\nNew goal");
  }
  for (const AIAction& action : AIActionLog(support).recent(10))
    if (action.canUndo()) undo::run(action, Vault(vault.folder.path()), support);
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
}

TEST_F(InsightTools, FollowAMeeting) {
  constexpr const char* none = "No meeting is being transcribed right now.";
  constexpr const char* notShared = "The user isn't sharing their screen with you.";
  EXPECT_EQ(vault.failure("get_live_transcript"), none);
  EXPECT_EQ(vault.failure("get_shared_screen"), notShared);
  LiveMeeting meeting{.title = "Weekly", .started = *time::parseIso8601("2026-11-21T09:00:00Z")};
  for (int i = 0; i < 3000; ++i)
    meeting.lines.push_back(newTranscriptLine(MeetingSpeaker::others, fmt::format("Line {}", i), meeting.started));
  meeting.save(support);
  vault.folder.write("../support/meeting-screen.jpg", "\xFF\xD8\xFFpicture");
  EXPECT_EQ(vault.failure("get_shared_screen"), notShared);
  const std::string newest = vault.text("get_live_transcript");
  EXPECT_LE(text::unitCount(newest), toolResult::maximumUnits);
  EXPECT_THAT(newest, HasSubstr("Others: Line 2999"));
  EXPECT_THAT(vault.text("get_live_transcript", R"({"part":1})"), HasSubstr("Others: Line 0\\n"));

  meeting.isSharingScreen = true;
  meeting.save(support);
  const std::string answer =
      *vault.handle(R"({"id":1,"method":"tools/call","params":{"name":"get_shared_screen","arguments":{}}})");
  EXPECT_THAT(answer, HasSubstr(R"({"data":"/9j/cGljdHVyZQ==","mimeType":"image/jpeg","type":"image"})"));
  EXPECT_EQ(base64::encoded("") + base64::encoded("f") + base64::encoded("fo") + base64::encoded("foo"),
            "Zg==Zm8=Zm9v");

  vault.folder.write("Resources/Meetings/2026-11-20 Weekly - Transcript.md",
                     "---\ntags: [meeting, meeting-transcript]\n---\nText\n");
  vault.folder.write("Resources/Meetings/2026-11-20 Weekly - Summary.md",
                     "---\ntags: [meeting]\n---\nS\n\n---\n\n[[2026-11-20 Weekly - Transcript]]\n");
  EXPECT_EQ(shown("list_meetings", "meetings"),
            R"([{"day":"2026-11-20","summary":"Resources/Meetings/2026-11-20 Weekly - Summary.md",)"
            R"("title":"Weekly","transcript":"Resources/Meetings/2026-11-20 Weekly - Transcript.md"}])");
}

TEST_F(InsightTools, SyncTheVault) {
  constexpr const char* notConnected = "This vault isn't connected to a repository. That's set up in Vesk.";
  EXPECT_EQ(vault.failure("sync_now"), notConnected);
  EXPECT_EQ(shown("sync_status", "syncs_with_git"), "false");
  const test::TemporaryFolder remote;
  ASSERT_EQ(std::system(fmt::format("git init -q --bare -b main '{}'", remote.path()).c_str()), 0);
  GitSync(vault.folder.path()).connect(remote.path());
  EXPECT_EQ(shown("sync_status", "changes_waiting"), "5");  // four folders and .gitignore
  vault.allowAll(ApprovalLevel::always);                    // syncing never waits
  EXPECT_EQ(shown("sync_now", "committed"), "7");           // and .gitignore
  EXPECT_EQ(shown("sync_status", "changes_waiting"), "0");
  EXPECT_EQ(AIActionLog(support).recent(1).at(0).kind, AIAction::Kind::sync);
}

}  // namespace
}  // namespace vesk
