#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/platform/FileError.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/RecordedChanges.h"
#include "core/toolserver/Undo.h"
#include "core/vault/VaultError.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using test::ServedVault;
using Kind = AIAction::Kind;

class ActionLog : public testing::Test {
 protected:
  ActionLog() { vault.allowAll(ApprovalLevel::trusted); }

  AIAction last() const { return log.recent(1).at(0); }

  const ServedVault vault;
  const AIActionLog log{vault.folder.supportDirectory()};
  const Vault files{vault.folder.path()};
};

TEST_F(ActionLog, SaysWhatWasDone) {
  vault.folder.write("Inbox/Plan.md", "# The plan\nText\n");
  vault.folder.write("Projects/Site/A.md", "#work\n");
  const std::tuple<const char*, const char*, const char*> calls[] = {
      {"read_note", R"({"note":"The plan"})", R"("kind":"read","noteID":"Inbox/Plan.md","title":"The plan")"},
      {"search_notes", R"({"query":"plan"})", R"("kind":"search","resultCount":1,"title":"plan")"},
      {"append_to_note", R"({"note":"The plan","text":"x"})",
       R"("appended":"x","kind":"append","noteID":"Inbox/Plan.md","title":"The plan")"},
      {"move_note", R"({"note":"The plan","folder":"Projects"})",
       R"("fromFolder":"Inbox","kind":"file","noteID":"Projects/Plan.md","title":"The plan","toFolder":"Projects")"},
      {"rename_note", R"({"note":"The plan","title":"P"})",
       R"("fromFolder":"Projects/Plan.md","kind":"rename","noteID":"Projects/P.md","title":"The plan",)"
       R"("toFolder":"Projects/P.md")"},
      {"rename_tag", R"({"tag":"work","new_tag":"job"})",
       R"("after":"#job\n","before":"#work\n","kind":"edit","noteID":"Projects/Site/A.md","title":"A")"},
      {"move_folder", R"({"folder":"Projects/Site","parent":"Areas"})",
       R"("fromFolder":"Projects/Site","kind":"moveFolder","noteID":"Areas/Site","title":"Site","toFolder":"Areas/Site")"},
  };
  for (const auto& [tool, arguments, expected] : calls) {
    vault.text(tool, arguments);
    Json json = toJson(last());
    for (const char* key : {"id", "date", "isUndone", "vaultPath"}) json.object()->erase(key);
    EXPECT_EQ(json.compact(), fmt::format("{{{}}}", expected)) << tool;
  }
  const std::size_t count = log.recent(1000).size();
  EXPECT_EQ(count, std::size(calls) + 1) << "and the folder Areas that was made";
  for (const char* tool : {"list_notes", "list_tasks", "list_folders", "list_proposals"}) vault.text(tool);
  vault.failure("read_note", R"({"note":"None"})");
  EXPECT_EQ(log.recent(1000).size(), count);
}

TEST_F(ActionLog, ReadsWhatCanBeRead) {
  const auto line = [](std::string_view id, std::string_view date, std::string_view more = "") {
    return fmt::format(R"({{"id":"{}","date":"{}","kind":"trash","title":"T"{}}})", id, date, more);
  };
  vault.folder.write("../support/ai-actions.jsonl",
                     line("b", "2026-01-02T00:00:00Z") + "\nnot json\n\n[]\n" + line("a", "2026-01-01T00:00:00Z") +
                         "\n" + line("c", "2026-01-02T00:00:00Z", R"(,"trashedTo":"/x")") + "\r\n" +
                         line("b", "2026-01-02T00:00:00Z", R"(,"isUndone":true)") + "\n" +
                         R"({"id":"e","date":"2026","kind":"trash","title":"T"})" + "\n" + R"({"id":"unfinished)");
  std::string found;
  for (const AIAction& action : log.recent(10))
    found += fmt::format("{}{}{} ", action.id, action.isUndone ? " undone" : "", action.canUndo() ? "" : "!");
  EXPECT_EQ(found, "c b undone! a! ");
  EXPECT_EQ(log.recent(1).size(), 1u);
  log.append({.id = "f", .date = *time::parseIso8601("2026-02-01T00:00:00Z"), .title = "Behind the torn line"});
  EXPECT_EQ(last().id, "f");
}

TEST_F(ActionLog, RefusesChangesThatItCanNotRecord) {
  vault.folder.write("Inbox/Plan.md", "Text\n");
  const std::string path = vault.folder.supportDirectory() + "/ai-actions.jsonl";
  fs::create_directory(path);
  const auto before = test::contentsOf(vault.folder.path());
  EXPECT_EQ(vault.failure("trash_note", R"({"note":"Plan"})"), fmt::format("Can't write to {}: Is a directory.", path));
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
  vault.text("read_note", R"({"note":"Plan"})");  // reading goes on
  fs::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  vault.failure("trash_note", R"({"note":"Plan"})");  // at once
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
}

TEST_F(ActionLog, TakesBackWhatItCouldNotRecord) {
  vault.folder.write("Inbox/Plan.md", "Text\n");
  const auto before = test::contentsOf(vault.folder.path());
  const AIActionLog nowhere("/dev/null/none");
  RecordedChanges changes(files, nowhere, Timestamp(), nullptr);
  EXPECT_THROW(changes.trash("Inbox/Plan.md", "Plan"), FileError);
  EXPECT_THROW(changes.createNote("New", "", {}, "Inbox"), FileError);
  EXPECT_THROW(changes.edit("Inbox/Plan.md", "Plan", [](const std::string&) { return "New\n"; }), FileError);
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
}

// One row a kind: the call, and what may come between it and its undoing.
TEST_F(ActionLog, UndoesOnlyWhatIsStillAsItWasLeft) {
  using Step = std::function<void()>;
  const auto at = [&](std::string_view path) { return vault.folder.at(path); };
  struct Case {
    const char* tool;
    const char* arguments;
    std::vector<Step> interferences;
  };
  const auto typeIn = [&](const char* path) {
    return [&, path] { vault.folder.write(path, vault.folder.has(path) ? vault.folder.read(path) + "more" : "new"); };
  };
  const auto take = [&](const char* path) { return [&, path] { fs::remove_all(at(path)); }; };
  const Case cases[] = {
      {"move_note", R"({"note":"Plan","folder":"Projects"})", {typeIn("Inbox/Plan.md"), take("Projects/Plan.md")}},
      {"create_note", R"({"title":"New"})", {typeIn("Inbox/New.md"), take("Inbox/New.md")}},
      {"create_folder", R"({"name":"New","parent":"Projects"})", {typeIn("Projects/New/A.md"), take("Projects/New")}},
      {"append_to_note", R"({"note":"Plan","text":"x"})", {typeIn("Inbox/Plan.md"), take("Inbox/Plan.md")}},
      {"update_note", R"({"note":"Plan","body":"x"})", {typeIn("Inbox/Plan.md"), take("Inbox/Plan.md")}},
      {"rename_note", R"({"note":"Plan","title":"P"})", {typeIn("Inbox/Plan.md"), take("Inbox/P.md")}},
      {"rename_folder",
       R"({"folder":"Projects/Site","name":"Web"})",
       {typeIn("Projects/Site/A.md"), take("Projects/Web")}},
      {"move_folder",
       R"({"folder":"Projects/Site","parent":"Areas"})",
       {typeIn("Projects/Site/A.md"), take("Areas/Site")}},
      {"trash_note", R"({"note":"Plan"})", {typeIn("Inbox/Plan.md"), take("../data/Trash/files/Plan.md")}},
      {"trash_folder",
       R"({"folder":"Projects/Site"})",
       {typeIn("Projects/Site/A.md"), take("../data/Trash/info/Site.trashinfo")}},
  };
  const auto reset = [&] {
    for (const char* path : {"Inbox", "Projects", "Areas", "../data/Trash"}) fs::remove_all(at(path));
    vault.folder.write("Inbox/Plan.md", "Text\n");
    vault.folder.write("Projects/Site/A.md", "A\n");
    fs::create_directory(at("Areas"));
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.tool);
    reset();
    const auto before = test::contentsOf(vault.folder.path());
    vault.text(each.tool, each.arguments);
    EXPECT_NE(test::contentsOf(vault.folder.path()), before);
    const AIAction action = last();
    EXPECT_EQ(undo::obstacle(action, files, log.directory()), std::nullopt);
    log.undo(action, files);
    EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
    EXPECT_FALSE(last().canUndo());
    EXPECT_THROW(log.undo(action, files), VaultError) << "once only";
    for (const Step& interfere : each.interferences) {
      reset();
      vault.text(each.tool, each.arguments);
      interfere();
      const auto now = vault.folder.contents();
      EXPECT_NE(undo::obstacle(last(), files, log.directory()), std::nullopt);
      try {
        log.undo(last(), files);
        ADD_FAILURE() << "it changed since";
      } catch (const VaultError& refusal) {
        EXPECT_STREQ(refusal.what(), "This changed after the AI's action, so it can't be undone.");
      }
      EXPECT_EQ(vault.folder.contents(), now);
    }
  }
  // Another item that took the place of the first in the Trash is none of the vault's.
  reset();
  vault.text("trash_note", R"({"note":"Plan"})");
  vault.folder.write("../data/Trash/info/Plan.md.trashinfo", "[Trash Info]\nPath=/home/Plan.md\n");
  EXPECT_EQ(undo::obstacle(last(), files, log.directory()), "It isn't in the Trash any more.");

  const AIAction elsewhere = [&] {
    AIAction action = last();
    action.vaultPath = "/elsewhere";
    return action;
  }();
  EXPECT_EQ(undo::obstacle(elsewhere, files, log.directory()),
            "It was done in another vault, /elsewhere. Open that one to undo it.");
}

}  // namespace
}  // namespace vesk
