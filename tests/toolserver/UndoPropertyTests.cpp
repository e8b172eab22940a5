#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailStore.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/ToolCatalog.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using test::ServedVault;

// Arguments for one tool, made of what is in the vault just then.
class Chance {
 public:
  Chance(unsigned seed, const ServedVault& vault) : random_(seed), vault_(vault) {}

  std::size_t below(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }

  std::string pick(const std::vector<std::string>& from) { return from.empty() ? "Nothing" : from[below(from.size())]; }

  std::string note() { return pick(listed("list_notes", "notes", "path")); }
  std::string folder() { return pick(listed("list_folders", "folders", "path")); }
  std::string task() { return pick(listed("list_tasks", "tasks", "id")); }
  std::string diagram() { return pick(listed("list_diagrams", "diagrams", "path")); }
  std::string email() { return pick(listed("search_emails", "emails", "id", R"({"query":"compost"})")); }
  std::string name() { return pick({"Plan", "plan", "Ziel: a", "Neu", "Tasks", "Mañana", "2026-11-21", "Deep"}); }
  std::string tag() { return pick({"work", "job", "home", "casa/rua", "new"}); }
  std::string text() {
    return pick({"", "Line\n", "no break", "a\r\nb\r\n", "---\ntags: [q]\n---\nx", "#work [[Plan]]", "- [ ] t"});
  }

 private:
  std::vector<std::string> listed(std::string_view tool, std::string_view key, std::string_view member,
                                  std::string_view arguments = R"({"limit":200})") const {
    std::vector<std::string> found;
    const Json page = vault_.json(tool, arguments);
    for (const Json& entry : *page.find(key)->array()) found.push_back(*entry.find(member)->string());
    return found;
  }

  std::mt19937 random_;
  const ServedVault& vault_;
};

using Arguments = Json::Object;

// Every tool that changes the vault or mail.
const std::map<std::string_view, Arguments (*)(Chance&)>& callMakers() {
  static const std::map<std::string_view, Arguments (*)(Chance&)> makers = {
      {"move_note",
       [](Chance& c) {
         return Arguments{{"note", c.note()}, {"folder", c.folder()}};
       }},
      {"create_note",
       [](Chance& c) {
         return Arguments{
             {"title", c.name()}, {"body", c.text()}, {"folder", c.folder()}, {"tags", Json::Array{Json(c.tag())}}};
       }},
      {"add_source",
       [](Chance& c) {
         return Arguments{{"title", c.name()}, {"text", c.text()}};
       }},
      {"create_collection",
       [](Chance& c) {
         return Arguments{{"name", c.name()}, {"kind", c.pick({"project", "area", "topic"})}};
       }},
      {"append_to_note",
       [](Chance& c) {
         return Arguments{{"note", c.note()}, {"text", c.text()}};
       }},
      {"update_note",
       [](Chance& c) {
         if (c.below(2) == 0) return Arguments{{"note", c.note()}, {"body", c.text()}};
         return Arguments{{"note", c.note()},
                          {"find", c.pick({"work", "\n", "Line", "- [ ] "})},
                          {"replace", c.text()},
                          {"tags", Json::Array{Json(c.tag())}}};
       }},
      {"rename_note",
       [](Chance& c) {
         return Arguments{{"note", c.note()}, {"title", c.name()}};
       }},
      {"trash_note",
       [](Chance& c) {
         return Arguments{{"note", c.note()}};
       }},
      {"create_folder",
       [](Chance& c) {
         return Arguments{{"name", c.name()}, {"parent", c.folder()}};
       }},
      {"rename_folder",
       [](Chance& c) {
         return Arguments{{"folder", c.folder()}, {"name", c.name()}};
       }},
      {"move_folder",
       [](Chance& c) {
         return Arguments{{"folder", c.folder()}, {"parent", c.folder()}};
       }},
      {"trash_folder",
       [](Chance& c) {
         return Arguments{{"folder", c.folder()}};
       }},
      {"add_task",
       [](Chance& c) {
         return Arguments{{"text", "Do " + c.text()}, {"due", "2026-12-01"}, {"folder", c.folder()}};
       }},
      {"update_task",
       [](Chance& c) {
         return Arguments{{"task", c.task()},
                          {"status", c.pick({"todo", "doing", "done"})},
                          {"start", c.pick({"", "09:00"})},
                          {"text", "Done " + c.text()}};
       }},
      {"add_task_note",
       [](Chance& c) {
         return Arguments{{"task", c.task()}};
       }},
      {"remove_task",
       [](Chance& c) {
         return Arguments{{"task", c.task()}};
       }},
      {"create_diagram",
       [](Chance& c) {
         return Arguments{
             {"title", c.name()}, {"folder", c.folder()}, {"add_nodes", Json::Array{Json::Object{{"text", c.text()}}}}};
       }},
      {"update_diagram",
       [](Chance& c) {
         return Arguments{{"diagram", c.diagram()},
                          {"add_nodes", Json::Array{Json::Object{{"id", c.name()}, {"text", c.text()}}}},
                          {"remove_nodes", c.below(3) == 0 ? Json::Array{Json(c.name())} : Json::Array()}};
       }},
      {"rename_diagram",
       [](Chance& c) {
         return Arguments{{"diagram", c.diagram()}, {"title", c.name()}};
       }},
      {"trash_diagram",
       [](Chance& c) {
         return Arguments{{"diagram", c.diagram()}};
       }},
      {"update_project_context",
       [](Chance& c) {
         return Arguments{{"project", c.pick({"Site", "Neu", "Plan"})}, {"text", c.pick({"Goal", "# G\n\nB"})}};
       }},
      {"rename_tag",
       [](Chance& c) {
         return Arguments{{"tag", c.tag()}, {"new_tag", c.tag()}};
       }},
      {"open_daily_note", [](Chance&) { return Arguments(); }},
      {"add_email",
       [](Chance& c) {
         return Arguments{{"id", c.name()}, {"subject", c.name()}, {"snippet", c.text()}};
       }},
      {"draft_email",
       [](Chance& c) {
         return Arguments{{"reply_to", c.email()}, {"subject", c.name()}, {"body", c.text()}};
       }},
      {"update_email",
       [](Chance& c) {
         Arguments arguments{{"id", c.email()}};
         if (c.below(2) == 0) arguments.emplace("read", c.below(2) == 0);
         if (c.below(2) == 0) arguments.emplace("flagged", c.below(2) == 0);
         if (c.below(2) == 0) arguments.emplace("move_to", c.pick({"inbox", "archive", "trash"}));
         return arguments;
       }},
  };
  return makers;
}

void fill(const ServedVault& vault) {
  Organization organization = Organization::para();
  organization.places.push_back({Bucket::sources, "Sources"});
  Vault(vault.folder.path()).save(organization);
  vault.folder.write("Inbox/Plan.md", "---\r\ntags: [work, home]\r\n---\r\nLine\r\nSee [[Ana]] #casa/rua\r\n");
  vault.folder.write("Inbox/Tasks.md", "# Tasks\n\n- [ ] Call Ana #due/2026-11-05\n  - [x] Sub #work\n- [ ] Last");
  vault.folder.write("Projects/Site/Ana.md", "- [ ] one\n- [ ] two #prio/high\r\n");
  vault.folder.write("Projects/Site/Draft/Deep.md", "#work `#work`\n");
  vault.folder.write("Projects/Site/Map.canvas", R"({"nodes":[{"id":"Plan","x":0,"y":0.5,"width":9,"height":9}]})");
  vault.folder.write("Projects/Site/Draft/picture.png", "\x89PNG");
  vault.folder.write("Areas/Empty.md", "");
  fs::create_directories(vault.folder.at("Resources/Empty"));
}

// What a mail server holds, and what a sync with it does to the store.
class MailServer {
 public:
  explicit MailServer(MailStore& store) : store_(store) {
    store.remove("ana");
    store.save(MailAccount{.id = "ana", .address = "ana@example.org"});
    store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox},
                       {"Old", "Old", MailFolderRole::archive},
                       {"Bin", "Bin", MailFolderRole::trash}},
                      "ana");
    storeAll();
  }

  void sync() {
    const auto waiting = store_.pendingChanges("ana");
    for (const auto& [place, change] : waiting) {
      carryOut(change);
      store_.finishChange(place);
    }
    if (!waiting.empty()) storeAll();
  }

  std::string text() const {
    std::string lines;
    for (const MailSummary& mail : mails_)
      lines += fmt::format("{} {}{}{}\n", mail.messageID, mail.folder, mail.isRead ? " read" : "",
                           mail.isFlagged ? " flagged" : "");
    return lines;
  }

 private:
  void storeAll() {
    for (const char* folder : {"INBOX", "Old", "Bin"}) {
      const auto stored = store_.storedUIDs("ana", folder);
      store_.remove({stored.begin(), stored.end()}, "ana", folder);
    }
    for (const MailSummary& mail : mails_)
      store_.insert(
          {{.uid = mail.uid,
            .isRead = mail.isRead,
            .isFlagged = mail.isFlagged,
            .mail = {.subject = "Compost", .from = MailAddress{"", "rui@x.org"}, .messageID = mail.messageID}}},
          "ana", mail.folder);
  }

  void carryOut(const MailChange& change) {
    const auto isIt = [&](const MailSummary& mail) {
      return mail.folder == change.folder &&
             (change.uid ? mail.uid == *change.uid : mail.messageID == change.messageID);
    };
    const auto mail = std::ranges::find_if(mails_, isIt);
    if (mail == mails_.end()) return;
    if (change.kind == MailChange::Kind::read) mail->isRead = change.isOn;
    if (change.kind == MailChange::Kind::flagged) mail->isFlagged = change.isOn;
    if (change.kind != MailChange::Kind::move) return;
    mail->folder = change.targetPath.value();
    mail->uid = ++lastUID_;
  }

  MailStore& store_;
  std::uint32_t lastUID_ = 3;
  std::vector<MailSummary> mails_ = {{.folder = "INBOX", .uid = 1, .messageID = "<1@x>"},
                                     {.folder = "INBOX", .uid = 2, .messageID = "<2@x>", .isRead = true},
                                     {.folder = "Old", .uid = 3, .messageID = "<3@x>", .isFlagged = true}};
};

int sequenceCount() {
  const char* wanted = std::getenv("VESK_UNDO_SEQUENCES");
  return wanted ? std::atoi(wanted) : 300;
}

TEST(Undo, KnowsEveryChangingTool) {
  for (const Tool& tool : toolCatalog::tools())
    EXPECT_EQ(callMakers().contains(tool.name), tool.effect != Effect::reads && tool.effect != Effect::syncs)
        << tool.name;
}

// Whatever the assistant did, undoing all of it, the newest first, gives back the vault to the byte, and the mail.
TEST(Undo, GivesTheVaultBack) {
  Timestamp clock = *time::parseIso8601("2026-11-21T08:00:00Z");
  const ServedVault vault;
  vault.allowAll(ApprovalLevel::trusted);
  const MCPServer server(vault.folder.supportDirectory(), {.now = [&] { return clock; }});
  const AIActionLog log(vault.folder.supportDirectory());
  const Vault files(vault.folder.path());
  MailStore store(vault.folder.supportDirectory());
  std::vector<std::string> tools;
  for (const auto& [name, make] : callMakers()) tools.emplace_back(name);
  std::map<std::string, int> carriedOut;
  for (int sequence = 0; sequence < sequenceCount(); ++sequence) {
    for (const auto& entry : fs::directory_iterator(vault.folder.path())) fs::remove_all(entry);
    for (const char* file : {"ai-actions.jsonl", "added-emails.jsonl"})
      fs::remove(fs::path(vault.folder.supportDirectory()) / file);
    fs::remove_all(vault.folder.trash());
    fill(vault);
    const auto before = test::contentsOf(vault.folder.path());
    MailServer mail(store);
    const std::string mailBefore = mail.text();
    Chance chance(static_cast<unsigned>(sequence), vault);
    std::string story;
    for (int action = 0; action < 12; ++action) {
      const std::string tool = chance.pick(tools);
      const Arguments arguments = callMakers().at(tool)(chance);
      clock += std::chrono::milliseconds(300);  // some in the same second
      story += fmt::format("{} {}", tool, Json(arguments).compact());
      try {
        server.run(tool, arguments);
        ++carriedOut[tool];
      } catch (const Error& refusal) {
        story += fmt::format(" ({})", refusal.what());
      }
      story += "\n";
      if (chance.below(3) == 0) mail.sync();
    }
    for (const AIAction& action : log.recent(1000)) {
      if (action.canUndo()) log.undo(action, files);
      if (chance.below(3) == 0) mail.sync();
    }
    mail.sync();
    ASSERT_EQ(mail.text(), mailBefore) << "sequence " << sequence << "\n" << story;
    ASSERT_EQ(store.drafts(), std::vector<MailDraft>()) << "sequence " << sequence << "\n" << story;
    ASSERT_EQ(test::contentsOf(vault.folder.path()), before) << "sequence " << sequence << "\n" << story;
  }
  EXPECT_EQ(carriedOut.size(), tools.size()) << "each was carried out";
}

}  // namespace
}  // namespace vesk
