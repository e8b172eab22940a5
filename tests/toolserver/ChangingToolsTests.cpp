#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/toolserver/ToolCatalog.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::repeated;
using test::ServedVault;

class ChangingTools : public testing::Test {
 protected:
  ChangingTools() {
    vault.allowAll(ApprovalLevel::trusted);
    vault.folder.write("Inbox/Plan.md", "---\ntags: [work]\n---\nOne two one. #home\r\nLast");
    vault.folder.write("Inbox/Tasks.md", "# List\n- [ ] Call Ana #due/2026-11-05\n- [x] Done [[Plan]]");
    vault.folder.write("Projects/Site/Same.md", "Same\n");
    vault.folder.write("Areas/Same.md", "Same\n");
    vault.folder.write("Projects/Site/Plan.md", "Taken\n");
  }

  std::string read(std::string_view path) const { return vault.folder.read(path); }
  // Calls a tool, then reads a note.
  std::string after(std::string_view tool, std::string_view arguments, std::string_view path = "Inbox/Plan.md") const {
    vault.text(tool, arguments);
    return vault.folder.has(path) ? read(path) : "gone";
  }
  std::string path(std::string_view tool, std::string_view arguments) const {
    return *vault.json(tool, arguments).find("path")->string();
  }

  const ServedVault vault;
};

struct Refused {
  const char* tool;
  const char* arguments;
  const char* sentence;
};

constexpr const char* unknownFolder = "That folder doesn't exist. Use list_folders to see the options.";
constexpr const char* unknownTask = "No task has that id. Use list_tasks to get a fresh one.";
constexpr const char* badName = "That name can't be used for a file.";
constexpr const char* structure = "Projects is part of the vault's structure and can't be changed.";
constexpr const char* nameTaken = "There's already a folder with that name here.";

constexpr Refused refusals[] = {
    {"move_note", R"({"note":"Inbox/Plan.md"})", unknownFolder},
    {"move_note", R"({"note":"Inbox/Plan.md","folder":"../support"})", unknownFolder},
    {"move_note", R"({"note":"Inbox/Plan.md","folder":"/etc"})", unknownFolder},
    {"move_note", R"({"note":"Inbox/Plan.md","folder":"out"})", unknownFolder},
    {"move_note", R"({"note":"Inbox/Plan.md","folder":"inbox"})", unknownFolder},
    {"move_note", R"({"note":"Inbox/Plan.md","folder":"Projects/Site"})", nameTaken},
    {"move_note", R"({"note":"Same","folder":"Inbox"})",
     "Several notes match. Use one of these paths: Areas/Same.md, Projects/Site/Same.md"},
    {"create_note", "{}", "A title is required."},
    {"create_note", R"({"title":" \n"})", "A title is required."},
    {"create_note", R"({"title":"???"})", badName},
    {"create_note", R"({"title":".hidden"})", badName},
    {"create_note", R"({"title":"A","folder":"Inbox/../Projects"})", unknownFolder},
    {"create_note", R"({"title":"A","text":"b"})",
     "create_note has no argument text. It takes title, body, tags, folder."},
    {"create_note", R"({"title":"A","tags":"work"})", "The argument tags must be a list of strings."},
    {"create_note", R"({"title":"A","tags":["work",7]})", "The argument tags must be a list of strings."},
    {"create_collection", R"({"name":"A"})", "A name and a kind of project, area or topic are required."},
    {"create_collection", R"({"kind":"area"})", "A name and a kind of project, area or topic are required."},
    {"create_collection", R"({"name":"A","kind":"book"})", "The kind must be project, area or topic."},
    {"create_collection", R"({"name":"Site","kind":"project"})", "Site already exists."},
    {"append_to_note", R"({"note":"Inbox/Plan.md","text":""})", "The text to add is required."},
    {"update_note", R"({"note":"Inbox/Plan.md"})", "Give find and replace, a new body, or tags."},
    {"update_note", R"({"note":"Inbox/Plan.md","find":"One"})", "Give find and replace, a new body, or tags."},
    {"update_note", R"({"note":"Inbox/Plan.md","find":"three","replace":""})", "That text isn't in the note."},
    {"update_note", R"({"note":"Inbox/Plan.md","find":"o","replace":"x"})",
     "That text appears 4 times. Include more of it, so it's unique."},
    {"rename_note", R"({"note":"Inbox/Plan.md","title":null})", "A new title is required."},
    {"rename_note", R"({"note":"Inbox/Plan.md","title":"Tasks"})", nameTaken},
    {"rename_note", R"({"note":"Inbox/Plan.md","title":"\u0000"})", badName},
    {"trash_note", R"({"note":["Plan"]})", "A note path or title is required."},
    {"trash_note", R"({"note":"../support/ai-access.json"})", "No note matches \"../support/ai-access.json\""},
    {"trash_note", R"({"note":"out/Secret.md"})", "No note matches \"out/Secret.md\""},
    {"create_folder", R"({"parent":"Projects"})", "A folder name is required."},
    {"create_folder", R"({"name":"A"})", "A parent from list_folders is required."},
    {"create_folder", R"({"name":"Site","parent":"Projects"})", "Site already exists."},
    {"rename_folder", R"({"name":"A"})", "A folder path is required."},
    {"rename_folder", R"({"folder":"Projects/Site"})", "A new name is required."},
    {"rename_folder", R"({"folder":"Projects","name":"A"})", structure},
    {"rename_folder", R"({"folder":"Projects/Site/","name":"../../A"})", badName},
    {"move_folder", R"({"folder":"Projects/Site","parent":"Projects/Site"})", "A folder can't be moved into itself."},
    {"move_folder", R"({"folder":"Projects/Site"})", "A parent from list_folders is required."},
    {"move_folder", R"({"folder":"Projects","parent":"Areas"})", structure},
    {"trash_folder", R"({"folder":"Projects"})", structure},
    {"trash_folder", R"({"folder":".vesk"})", unknownFolder},
    {"add_task", R"({"text":" #due/2026-01-01 "})", "The task's text is required."},
    {"add_task", R"({"text":"A","due":"5 May"})", "Dates must be written as YYYY-MM-DD."},
    {"add_task", R"({"text":"A","due":20260505})", "Dates must be written as YYYY-MM-DD."},
    {"add_task", R"({"text":"A","priority":"urgent"})", "Priority must be high or low."},
    {"add_task", R"({"text":"A","duration_minutes":0})", "Durations must be between 1 and 1440 minutes."},
    {"add_task", R"({"text":"A","duration_minutes":1441})", "Durations must be between 1 and 1440 minutes."},
    {"add_task", R"({"text":"A","duration_minutes":"30"})", "Durations must be between 1 and 1440 minutes."},
    {"update_task", "{}", "A task id from list_tasks is required."},
    {"update_task", R"({"task":"Inbox/Tasks.md#0","status":"done"})", unknownTask},
    {"update_task", R"({"task":"Inbox/Tasks.md#99999999999999999999","status":"done"})", unknownTask},
    {"update_task", R"({"task":"Inbox/Tasks.md#01","status":"done"})", unknownTask},
    {"update_task", R"({"task":"../Tasks.md#1","status":"done"})", unknownTask},
    {"update_task", R"({"task":"#","status":"done"})", unknownTask},
    {"update_task", R"({"task":"Inbox/Tasks.md#1","status":"open"})", "Status must be todo, doing or done."},
    {"update_task", R"({"task":"Inbox/Tasks.md#1","start":"9:00"})", "Start times must be written as HH:MM."},
    {"update_task", R"({"task":"Inbox/Tasks.md#1","due":"","start":"09:00"})", "A start time needs a due day."},
    {"update_task", R"({"task":"Inbox/Tasks.md#1","reminder":"25:00"})", "Reminders must be written as HH:MM."},
    {"update_task", R"({"task":"Inbox/Tasks.md#1","text":""})", "The task's text is required."},
    {"update_task", R"({"task":"Inbox/Tasks.md#1"})",
     "Nothing to change: give status, due, priority, reminder, duration_minutes, start or text."},
    {"add_task_note", R"({"task":"Inbox/Tasks.md#2"})", "This task already has a note."},
    {"remove_task", R"({"task":true})", "A task id from list_tasks is required."},
    {"rename_tag", R"({"new_tag":"a"})", "The tag to rename is required."},
    {"rename_tag", R"({"tag":"a"})", "The new tag name is required."},
    {"rename_tag", R"({"tag":"work","new_tag":"two words"})", "That name can't be used for a tag."},
    {"list_tasks", R"({"status":"open"})", "Status must be todo, doing or done."},
    {"list_tasks", R"({"due_by":"soon"})", "Dates must be written as YYYY-MM-DD."},
    {"list_tasks", R"({"folder":"Nowhere"})", unknownFolder},
};

// Under every level; a call that is refused stores nothing.
TEST_F(ChangingTools, LeaveEverythingAsItIsWhenTheyRefuse) {
  vault.folder.write("../elsewhere/Secret.md", "secret\n");
  std::filesystem::create_directory_symlink("../elsewhere", vault.folder.at("out"));
  for (const ApprovalLevel level : {ApprovalLevel::always, ApprovalLevel::trusted}) {
    vault.allowAll(level);
    const auto before = vault.folder.contents();
    for (const Refused& row : refusals)
      EXPECT_EQ(vault.failure(row.tool, row.arguments), row.sentence) << row.tool << row.arguments;
    EXPECT_EQ(vault.folder.contents(), before);
  }
}

// Every argument of every tool, alone and with sound ones: null, of each wrong type, empty, huge, and what could be
// taken for a path, a command or a line of its own. Whatever comes of it, nothing outside of the vault is read or
// touched.
TEST_F(ChangingTools, StayInTheVaultWhateverTheyAreGiven) {
  const std::string huge = Json(repeated("ab/../", 170'000)).compact();
  const std::string hostile[] = {"null",
                                 "7",
                                 "-1.5e300",
                                 "true",
                                 "[]",
                                 "{}",
                                 R"([["x"]])",
                                 R"("")",
                                 huge,
                                 R"("\u0000")",
                                 R"("a\u0000b")",
                                 R"("a\nb")",
                                 R"("../x")",
                                 R"("/etc/passwd")",
                                 R"("out/Secret.md")",
                                 R"("..")",
                                 R"("plan")",
                                 R"j("$(touch /tmp/x)")j",
                                 R"("\u00c9")",
                                 R"("E\u0301")"};
  vault.folder.write("../elsewhere/Secret.md", "canary\n");
  std::filesystem::create_directory_symlink("../elsewhere", vault.folder.at("out"));
  for (const Tool& tool : toolCatalog::tools()) {
    for (const Parameter& parameter : tool.parameters) {
      for (const std::string& value : hostile) {
        const std::string sound =
            R"("note":"Inbox/Plan.md","folder":"Projects/Site","title":"T","name":"N","text":"X","tag":"work",)"
            R"("new_tag":"w2","kind":"area","parent":"Areas","task":"Inbox/Tasks.md#1",)";
        for (const auto& rest : value.size() > 1000 ? std::vector{sound} : std::vector{std::string(), sound}) {
          const auto answer = vault.handle(
              fmt::format(R"({{"id":1,"method":"tools/call","params":{{"name":"{}","arguments":{{{}"{}":{}}}}}}})",
                          tool.name, rest, parameter.name, value));
          EXPECT_EQ(answer.value_or("").find("canary"), std::string::npos) << tool.name;
        }
      }
    }
  }
  EXPECT_EQ(vault.folder.read("../elsewhere/Secret.md"), "canary\n");
  EXPECT_EQ(test::contentsOf(vault.folder.at("../elsewhere")).size(), 1u);
  EXPECT_TRUE(vault.folder.has("../support/ai-access.json"));
}

TEST_F(ChangingTools, WriteNotes) {
  EXPECT_EQ(path("create_note", R"({"title":"a/b: c?","body":"Text","tags":["#x"," y ",""],"folder":"Projects"})"),
            "Projects/a b c.md");
  EXPECT_EQ(read("Projects/a b c.md"), "---\ntags: [x, y]\n---\nText");
  EXPECT_EQ(path("create_note", R"({"title":"Plan"})"), "Inbox/Plan 2.md");
  EXPECT_EQ(after("append_to_note", R"({"note":"Inbox/Plan.md","text":"a\nb"})"),
            "---\ntags: [work]\n---\nOne two one. #home\r\nLast\na\nb");
}

TEST_F(ChangingTools, KeepLineBreaksAndFrontMatter) {
  vault.folder.write("Inbox/Plan.md", "---\r\ntags: [work]\r\nowner: Ana\r\n---\r\nOne\r\nTwo\r\n");
  const std::string head = "---\r\ntags: [work]\r\nowner: Ana\r\n---\r\n";
  EXPECT_EQ(after("update_note", R"({"note":"Inbox/Plan.md","find":"One\nTwo","replace":"1\n2"})"),
            head + "1\r\n2\r\n");
  EXPECT_EQ(after("append_to_note", R"({"note":"Inbox/Plan.md","text":"3\n4"})"), head + "1\r\n2\r\n3\r\n4");
  EXPECT_EQ(after("update_note", R"({"note":"Inbox/Plan.md","body":"New\nbody\n"})"), head + "New\r\nbody\r\n");
  EXPECT_EQ(after("update_note", R"({"note":"Inbox/Plan.md","tags":["a","#b"]})"),
            "---\r\ntags: [a, b]\r\nowner: Ana\r\n---\r\nNew\r\nbody\r\n");
  EXPECT_EQ(after("update_note", R"({"note":"Inbox/Plan.md","body":"---\ntitle: T\n---\nAll\n"})"),
            "---\r\ntitle: T\r\n---\r\nAll\r\n");
}

TEST_F(ChangingTools, MoveRenameAndTrash) {
  EXPECT_EQ(path("rename_note", R"({"note":"Inbox/Plan.md","title":"Ziel: A"})"), "Inbox/Ziel A.md");
  EXPECT_EQ(path("move_note", R"({"note":"Inbox/Ziel A.md","folder":"Archive"})"), "Archive/Ziel A.md");
  EXPECT_EQ(path("create_collection", R"({"name":"Health","kind":"area"})"), "Areas/Health");
  EXPECT_EQ(path("create_folder", R"({"name":"Draft","parent":"Projects/Site"})"), "Projects/Site/Draft");
  EXPECT_EQ(path("rename_folder", R"({"folder":"Projects/Site","name":"Web"})"), "Projects/Web");
  EXPECT_EQ(path("move_folder", R"({"folder":"Projects/Web","parent":"Archive"})"), "Archive/Web");
  EXPECT_EQ(after("trash_note", R"({"note":"Areas/Same.md"})", "Areas/Same.md"), "gone");
  vault.text("trash_folder", R"({"folder":"Archive/Web"})");
  EXPECT_FALSE(vault.folder.has("Archive/Web"));
  EXPECT_TRUE(vault.folder.has("../data/Trash/files/Web/Same.md"));
  EXPECT_EQ(vault.json("rename_tag", R"({"tag":"#work","new_tag":"job"})").find("notes_changed")->compact(), "1");
  EXPECT_EQ(read("Archive/Ziel A.md").substr(0, 15), "---\ntags: [job]");
}

// A link by a title that a note still has, or to one of two notes of a name, goes on leading somewhere.
TEST_F(ChangingTools, TellWhichLinksLeadNowhereAfterwards) {
  vault.folder.write("Projects/Boat/Hull.md", "# The hull\n[[Sails]] [[Projects/Boat/Sails]]");
  vault.folder.write("Projects/Boat/Sails.md", "[[Hull]]");
  vault.folder.write("Areas/Keel.md", "[[HULL|it]]");
  vault.folder.write("Areas/Sea.md", "[[The hull]] [[Projects/Boat/Sails#Cut]] [[Sails]] [[Nowhere]]");
  const auto lost = [&](const char* tool, const char* arguments) {
    const Json result = vault.json(tool, arguments);
    const Json* links = result.find("links_to_nothing");
    return links ? links->compact() : "none";
  };
  EXPECT_EQ(lost("rename_note", R"({"note":"Projects/Boat/Hull.md","title":"Body"})"),
            R"([{"link":"HULL","note":"Areas/Keel.md"},{"link":"Hull","note":"Projects/Boat/Sails.md"}])");
  EXPECT_EQ(lost("move_note", R"({"note":"Projects/Boat/Sails.md","folder":"Inbox"})"),
            R"([{"link":"Projects/Boat/Sails","note":"Areas/Sea.md"},)"
            R"({"link":"Projects/Boat/Sails","note":"Projects/Boat/Body.md"}])");
  vault.text("move_note", R"({"note":"Inbox/Sails.md","folder":"Projects/Boat"})");
  EXPECT_EQ(lost("move_folder", R"({"folder":"Projects/Boat","parent":"Archive"})"),
            R"([{"link":"Projects/Boat/Sails","note":"Archive/Boat/Body.md"},)"
            R"({"link":"Projects/Boat/Sails","note":"Areas/Sea.md"}])");
  EXPECT_EQ(lost("trash_folder", R"({"folder":"Archive/Boat"})"),
            R"([{"link":"Sails","note":"Areas/Sea.md"},{"link":"The hull","note":"Areas/Sea.md"}])");
  EXPECT_EQ(lost("trash_note", R"({"note":"Areas/Sea.md"})"), "none");
}

TEST_F(ChangingTools, ListAndChangeTasks) {
  EXPECT_EQ(vault
                .json("add_task", R"({"text":"Buy [[Milk]]\n#due/2026-01-01","due":"2026-11-04","priority":"low",)"
                                  R"("duration_minutes":1440})")
                .compact(),
            R"({"due":"2026-11-04","duration_minutes":1440,"id":"Inbox/Tasks.md#3","note":"Inbox/Tasks.md",)"
            R"("priority":"low","status":"todo","text":"Buy [[Milk]]"})");
  const auto ids = [&](std::string_view arguments) {
    std::string found;
    const Json page = vault.json("list_tasks", arguments);
    for (const Json& task : *page.find("tasks")->array()) found += task.find("id")->string()->substr(15) + " ";
    return found;
  };
  EXPECT_EQ(ids("{}"), "3 1 2 ");  // what is done comes last
  EXPECT_EQ(ids(R"({"status":"todo","folder":"Inbox","due_by":"2026-11-04"})"), "3 ");
  EXPECT_EQ(ids(R"({"folder":"Projects"})"), "");
  const auto update = [&](std::string_view members) {
    vault.text("update_task", fmt::format(R"({{"task":"Inbox/Tasks.md#1",{}}})", members));
    const std::string text = read("Inbox/Tasks.md");
    return text.substr(7, text.find('\n', 7) - 7);
  };
  EXPECT_EQ(update(R"("status":"doing","start":"09:30","reminder":"09:00","priority":"high","duration_minutes":20)"),
            "- [ ] Call Ana #status/doing #due/2026-11-05 #remind/09:00 #prio/high #dur/20 #at/09:30");
  EXPECT_EQ(update(R"("due":"","priority":"","text":"Call #ana","status":"done")"),
            "- [x] Call #ana #remind/09:00 #dur/20");
  EXPECT_EQ(vault.failure("update_task", R"({"task":"Inbox/Tasks.md#1","start":"09:00"})"),
            "A start time needs a due day.");
  EXPECT_EQ(path("add_task_note", R"({"task":"Inbox/Tasks.md#1"})"), "Inbox/Call ana.md");
  EXPECT_EQ(update(R"("reminder":"")"), "- [x] [[Call ana|Call #ana]] #dur/20");
  vault.text("remove_task", R"({"task":"Inbox/Tasks.md#1"})");
  EXPECT_EQ(read("Inbox/Tasks.md"),
            "# List\n- [x] Done [[Plan]]\n- [ ] Buy [[Milk]] #due/2026-11-04 #prio/low #dur/1440\n");
}

TEST_F(ChangingTools, OpenTheDailyNoteOfTheUsersDay) {
  const Surroundings lateInNewYork{.now = [] { return *time::parseIso8601("2026-11-22T03:00:00Z"); },
                                   .calendar = [] { return Calendar("America/New_York"); },
                                   .language = [] { return Language::portuguese; }};
  const MCPServer server(vault.folder.supportDirectory(), lateInNewYork);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(*Json::parse(server.run("open_daily_note", {})).find("path")->string(), "Areas/Journal/2026-11-21.md");
  EXPECT_EQ(read("Areas/Journal/2026-11-21.md"), "# 2026-11-21\n\n## Notas\n\n\n## Tarefas\n\n- [ ] \n");
}

}  // namespace
}  // namespace vesk
