#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/platform/FileError.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/ToolCatalog.h"
#include "core/vault/VaultError.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using test::ServedVault;

class Approval : public testing::Test {
 protected:
  Approval() {
    vault.allowAll(ApprovalLevel::always);
    vault.folder.write("Inbox/Plan.md", "One\nTwo\n");
    vault.folder.write("Inbox/Tasks.md", "- [ ] Call Ana\n");
    fs::create_directory(vault.folder.at("Projects"));
  }

  // Calls a tool that is to wait, and gives what then waits.
  Proposal proposed(std::string_view tool, std::string_view arguments) const {
    const auto before = test::contentsOf(vault.folder.path());
    const Json answer = vault.json(tool, arguments);
    EXPECT_EQ(*answer.find("status")->string(), "waiting_for_approval");
    EXPECT_EQ(*answer.find("message")->string(),
              "Nothing has changed yet. The user reviews this in Vesk, and only they can approve it.");
    EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
    const auto all = store.all();
    EXPECT_EQ(all.back().id, *answer.find("proposal")->string());
    return all.back();
  }

  // The sentence with which carrying it out fails; "" when it doesn't.
  std::string failure(const Proposal& proposal) const {
    const bool waited = store.find(proposal.id).has_value();
    try {
      vault.server.apply(proposal);
      EXPECT_FALSE(store.find(proposal.id));
      return "";
    } catch (const Error& error) {
      EXPECT_EQ(store.find(proposal.id).has_value(), waited) << "what failed is kept";
      return error.what();
    }
  }

  const ServedVault vault;
  const ProposalStore store{vault.folder.supportDirectory()};
};

// By the level, whether each tool's call waits: "a" under always, "i" also under important.
TEST_F(Approval, WaitsByTheLevel) {
  const std::string important =
      " update_note update_project_context rename_tag rename_note trash_note move_folder rename_folder trash_folder "
      "update_diagram rename_diagram trash_diagram remove_task ";
  for (const Tool& tool : toolCatalog::tools()) {
    SCOPED_TRACE(tool.name);
    const bool changes = tool.effect != Effect::reads && tool.name != "sync_now";
    EXPECT_EQ(tool.waits(ApprovalLevel::always), changes);
    EXPECT_EQ(tool.waits(ApprovalLevel::important),
              important.find(fmt::format(" {} ", tool.name)) != std::string::npos);
    EXPECT_FALSE(tool.waits(ApprovalLevel::trusted));
  }
  vault.allowAll(ApprovalLevel::important);
  vault.text("append_to_note", R"({"note":"Inbox/Plan.md","text":"Three\n"})");
  EXPECT_EQ(vault.folder.read("Inbox/Plan.md"), "One\nTwo\nThree\n");
  EXPECT_EQ(proposed("update_note", R"({"note":"Inbox/Plan.md","find":"One","replace":"1"})").tool, "update_note");
}

TEST_F(Approval, ShowsWhatWillHappenAndDoesExactlyThat) {
  struct Case {
    const char* tool;
    const char* arguments;
    const char* title;
    const char* note;
    const char* destination;
  };
  const Case cases[] = {
      {"update_note", R"({"find":"One","note":"Plan","replace":"1"})", "Change \"Plan\"", "Inbox/Plan.md", ""},
      {"append_to_note", R"({"note":"Plan","text":"Three"})", "Add to \"Plan\"", "Inbox/Plan.md", ""},
      {"update_task", R"({"status":"done","task":"Inbox/Tasks.md#0"})", "Change the task \"Call Ana\" in \"Tasks\"",
       "Inbox/Tasks.md", ""},
      {"add_task_note", R"({"task":"Inbox/Tasks.md#0"})", "Give a note to the task \"Call Ana\" in \"Tasks\"",
       "Inbox/Tasks.md", ""},
      {"rename_note", R"({"note":"Plan","title":"Ziel"})", "Rename \"Plan\" to \"Ziel\"", "Inbox/Plan.md",
       "Inbox/Ziel.md"},
      {"move_note", R"({"folder":"Projects","note":"Ziel"})", "Move \"Ziel\" to Projects", "Inbox/Ziel.md",
       "Projects/Ziel.md"},
      {"remove_task", R"({"task":"Inbox/Tasks.md#0"})", "Remove the task \"Call Ana\" in \"Tasks\"", "Inbox/Tasks.md",
       ""},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.tool);
    const Proposal proposal = proposed(each.tool, each.arguments);
    EXPECT_EQ(proposal.title, each.title);
    EXPECT_EQ(proposal.notePath, each.note);
    EXPECT_EQ(proposal.destination.value_or(""), each.destination);
    EXPECT_EQ(proposal.arguments, each.arguments);
    EXPECT_EQ(proposal.before, vault.folder.read(each.note));
    EXPECT_EQ(failure(proposal), "");
    EXPECT_EQ(vault.folder.read(proposal.destination.value_or(each.note)), proposal.after);
    EXPECT_EQ(failure(proposal), "This change doesn't wait any more.");
  }
  const Proposal created = proposed("create_note", R"({"title":"New","body":"Text","tags":["a"]})");
  EXPECT_EQ(created.after, "---\ntags: [a]\n---\nText");
  EXPECT_EQ(created.diff().size(), 4u);
  const Proposal trashed = proposed("trash_note", R"({"note":"Tasks"})");
  EXPECT_EQ(trashed.after, std::nullopt);
}

TEST_F(Approval, FailsWhenThingsChangedMeanwhile) {
  const auto plan = vault.folder.at("Inbox/Plan.md");
  const char* changed = "This note changed outside Vesk.";
  const std::pair<std::function<void()>, std::string> interferences[] = {
      {[&] { vault.folder.write("Inbox/Plan.md", "One\nTwo"); }, changed},
      {[&] { fs::rename(plan, plan + ".away"); }, changed},
      {[&] { fs::remove(plan); }, changed},
      {[&] { fs::remove(plan), fs::create_symlink("/etc/hostname", plan); }, changed},
      {[&] { fs::remove(plan), fs::create_directory(plan); }, changed},
      {[&] { vault.allow({.approval = ApprovalLevel::always}); }, "Editing notes is turned off in Vesk."},
      {[&] {
         AIAccess access = AIAccess::load(vault.folder.supportDirectory());
         access.vaultPath = vault.folder.at("../data");
         access.save(vault.folder.supportDirectory());
       },
       fmt::format("This change is for another vault, {}. Open that one first.", vault.folder.path())},
  };
  for (const auto& [interfere, sentence] : interferences) {
    fs::remove_all(plan);
    vault.folder.write("Inbox/Plan.md", "One\nTwo\n");
    vault.allowAll(ApprovalLevel::always);
    const Proposal proposal = proposed("update_note", R"({"note":"Inbox/Plan.md","find":"One","replace":"1"})");
    interfere();
    const auto before = vault.folder.contents();
    EXPECT_EQ(failure(proposal), sentence);
    auto after = vault.folder.contents();
    after.erase("support/reviews.lock");
    auto expected = before;
    expected.erase("support/reviews.lock");
    EXPECT_EQ(after, expected);
  }
  vault.allowAll(ApprovalLevel::always);
  const Proposal folder = proposed("create_folder", R"({"name":"New","parent":"Projects"})");
  fs::create_directory(vault.folder.at("Projects/New"));
  EXPECT_EQ(failure(folder), "New already exists.");
  Proposal other = folder;
  other.arguments = R"({"name":"Other","parent":"Projects"})";
  EXPECT_EQ(failure(other), "This change isn't the one that was shown any more.");
}

// What is worked out anew when it is approved must be what was shown.
TEST_F(Approval, CarriesOutNothingElse) {
  const char* other = "This would not do any more what was shown. Decline it, or ask the assistant anew.";
  const Proposal note = proposed("create_note", R"({"title":"New"})");
  const Proposal task = proposed("add_task", R"({"text":"New"})");
  vault.folder.write("Inbox/Tagged.md", "#work\n");
  const Proposal tag = proposed("rename_tag", R"({"tag":"work","new_tag":"job"})");
  vault.folder.write("Inbox/Tagged too.md", "#work\n");
  vault.folder.write(".vesk/organization.json",
                     R"({"method":"custom","places":[{"folder":"Projects","role":"Inbox"}]})");
  for (const Proposal& proposal : {note, task, tag}) EXPECT_EQ(failure(proposal), other) << proposal.title;
  const Proposal appended = proposed("append_to_note", R"({"note":"Plan","text":"x"})");
  vault.folder.write("Inbox/Second.md", "# Plan\n");  // the title alone does not tell any more which note
  EXPECT_EQ(failure(appended), "");
  const Proposal linked = proposed("add_task_note", R"({"task":"Inbox/Tasks.md#0"})");
  vault.folder.write("Inbox/Call Ana.md", "mine\n");
  const auto before = test::contentsOf(vault.folder.path());
  EXPECT_EQ(failure(linked), other);
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
}

// A task's id says on which line it stands: the line must be the one that was shown.
TEST_F(Approval, NeverChangesAnotherTask) {
  const Proposal proposal = proposed("remove_task", R"({"task":"Inbox/Tasks.md#0"})");
  vault.folder.write("Inbox/Tasks.md", "- [ ] Another\n- [ ] Call Ana\n");
  EXPECT_EQ(failure(proposal), "This note changed outside Vesk.");
}

// Several changes to one text can be approved one after another; those that would not change the same lines any more,
// or for a text that was changed elsewhere, can't.
TEST_F(Approval, BringsAlongWhatWasMadeForTheSameText) {
  vault.folder.write("Inbox/Tasks.md", "- [ ] a\n- [ ] b\n- [ ] c\n");
  const auto task = [&](int line, const char* members) {
    return proposed("update_task", fmt::format(R"({{"task":"Inbox/Tasks.md#{}",{}}})", line, members));
  };
  const Proposal a = task(0, R"("status":"done")");
  const Proposal b = task(1, R"("due":"2026-12-01")");
  const Proposal c = proposed("remove_task", R"({"task":"Inbox/Tasks.md#2"})");
  const Proposal againA = task(0, R"("status":"doing")");
  const Proposal added = proposed("append_to_note", R"({"note":"Inbox/Tasks.md","text":"end\n"})");
  const auto now = [&](const Proposal& proposal) { return *store.find(proposal.id); };
  EXPECT_EQ(failure(a), "");
  EXPECT_EQ(failure(b), "This change isn't the one that was shown any more.");
  EXPECT_EQ(failure(now(b)), "");
  EXPECT_EQ(failure(now(againA)), "This note changed outside Vesk.");
  EXPECT_EQ(failure(now(c)), "");
  EXPECT_EQ(failure(now(added)), "");
  EXPECT_EQ(vault.folder.read("Inbox/Tasks.md"), "- [x] a\n- [ ] b #due/2026-12-01\nend\n");
  EXPECT_EQ(store.all().size(), 1u);

  // An equal line elsewhere is not the one that was shown.
  vault.folder.write("Inbox/Tasks.md", "- [ ] Call\n\n## Bob\n\n- [ ] Call\n");
  const Proposal moved =
      proposed("update_note", R"({"note":"Inbox/Tasks.md","body":"\n\n\n\n- [ ] Call\n\n## Bob\n\n- [ ] Call\n"})");
  const Proposal bobs = task(4, R"("status":"done")");
  EXPECT_EQ(failure(moved), "");
  EXPECT_EQ(failure(now(bobs)), "This note changed outside Vesk.");

  vault.folder.write("Inbox/Tasks.md", "- [ ] a");
  const Proposal ends[] = {proposed("append_to_note", R"({"note":"Inbox/Tasks.md","text":"one"})"),
                           proposed("append_to_note", R"({"note":"Inbox/Tasks.md","text":"two"})"),
                           proposed("add_task", R"({"text":"b"})"), task(0, R"("status":"done")")};
  for (const Proposal& proposal : ends) EXPECT_EQ(failure(now(proposal)), "") << proposal.title;
  EXPECT_EQ(vault.folder.read("Inbox/Tasks.md"), "- [x] a\none\ntwo\n- [ ] b\n");
}

TEST_F(Approval, IsGivenOnce) {
  for (int round = 0; round < 20; ++round) {
    const Proposal proposal = proposed("create_note", fmt::format(R"({{"title":"Round {}"}})", round));
    std::vector<std::thread> users;
    for (int i = 0; i < 3; ++i)
      users.emplace_back([&] {
        try {
          vault.server.apply(proposal);
        } catch (const ProposalError&) {
        }
      });
    for (std::thread& user : users) user.join();
    EXPECT_TRUE(vault.folder.has(fmt::format("Inbox/Round {}.md", round)));
    EXPECT_FALSE(vault.folder.has(fmt::format("Inbox/Round {} 2.md", round)));
  }
}

TEST_F(Approval, TakesTheFileAsItIs) {
  const auto write = [&](std::string_view text) { vault.folder.write("../support/proposals.json", text); };
  const std::string good = R"({"id":"a","date":"2026-01-01T00:00:00Z","tool":"t","arguments":"{}","title":"T"})";
  const std::pair<std::string, std::size_t> readable[] = {{"", 0},
                                                          {"{}", 0},
                                                          {"[", 0},
                                                          {"[]", 0},
                                                          {"[1,null,[],{}," + good + "]", 1},
                                                          {R"([broken,)" + good + "]", 1},
                                                          {R"([{"id":"a"},)" + good + "," + good + "]", 2}};
  for (const auto& [text, count] : readable) {
    write(text);
    EXPECT_EQ(store.all().size(), count) << text;
  }
  write("[7,{\"id\":\"b\",\"mine\":1.10}," + good + "]");
  store.remove("a");
  EXPECT_EQ(vault.folder.read("../support/proposals.json"), "[\n  7,\n  {\"id\":\"b\",\"mine\":1.10}\n]");
  for (const char* broken : {"[{", R"({"a":1})"}) {
    write(broken);
    store.add(*proposalFrom(Json::parse(good)));
    EXPECT_EQ(store.all().size(), 1u);
    const auto contents = test::contentsOf(vault.folder.supportDirectory());
    EXPECT_TRUE(std::any_of(contents.begin(), contents.end(), [&](const auto& file) {
      return file.first.starts_with("proposals.unreadable-") && file.second == broken;
    })) << broken;
  }
}

}  // namespace
}  // namespace vesk
