#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailStore.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Undo.h"
#include "core/vault/VaultError.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using test::ServedVault;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class MailChangeTools : public testing::Test {
 protected:
  MailChangeTools() {
    vault.allowAll(ApprovalLevel::trusted);
    for (const char* name : {"ana", "work"})
      store.save(MailAccount{.id = name, .address = std::string(name) + "@example.org"});
    store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox},
                       {"Sent", "Sent", MailFolderRole::sent},
                       {"Old", "Old", MailFolderRole::archive}},
                      "ana");
    store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox}}, "work");
  }

  // Stores a mail; its id as the tools take it.
  std::string add(ParsedMail mail, const char* account = "ana", const char* folder = "INBOX") {
    store.insert({{.uid = ++uid, .mail = std::move(mail)}}, account, folder);
    return fmt::to_string(store.find(account, folder, uid)->id);
  }

  std::string change(std::string_view id, std::string_view more) const {
    return vault.text("update_email", fmt::format(R"({{"id":"{}",{}}})", id, more));
  }

  AIAction last() const { return log.recent(1).at(0); }

  std::optional<std::string> obstacle() const { return undo::obstacle(last(), files, log.directory()); }

  const ServedVault vault;
  const std::string support = vault.folder.supportDirectory();
  const Vault files{vault.folder.path()};
  const AIActionLog log{support};
  MailStore store{support};
  std::uint32_t uid = 0;
};

TEST_F(MailChangeTools, SaveDraftsThatOnlyTheUserCanSend) {
  const std::pair<const char*, std::string> refusals[] = {
      {R"({"to":"rui@example.org","body":" \n\u200b"})", "The email's text is required."},
      {R"({"body":"x","to":" , "})", "At least one address in to is required."},
      {R"({"body":"x","to":"rui@example.org"})", "Say which account in account: ana@example.org, work@example.org"},
      {R"({"body":"x","to":"r@x.org","account":" eva@x.org"})", "No connected account is eva@x.org"},
      {R"({"body":"x","reply_to":"99"})", "No email has the id \"99\". Use list_emails or search_emails."},
      {R"({"body":"x","to":"r@x.org, Rui"})", "\"Rui\" isn't an email address."},
      {R"({"body":"x","to":"Silva, Rui <r@x.org>"})", "\"Silva\" isn't an email address."},
      {R"({"body":"x","to":"r@x.org\nBcc: e@x.org"})", "\"r@x.org Bcc: e@x.org\" isn't an email address."},
      {R"({"body":"x","to":"r@x.org; e@x.org"})", "\"r@x.org; e@x.org\" isn't an email address."},
      {R"({"body":"x","to":"r@x.org","cc":"<r@x@y.org>"})", "\"<r@x@y.org>\" isn't an email address."},
  };
  for (const auto& [arguments, sentence] : refusals) EXPECT_EQ(vault.failure("draft_email", arguments), sentence);
  const std::string longest = test::repeated("a", 64);
  const std::string bad[] = {
      // Two addresses, of which one would be sent to and the other be seen.
      "a@y.org b@y.org", "a@y.org <b@y.org>", "\"a@y.org\" <b@y.org>", "<a@y.org> <b@y.org>", "r@x.org (Rui)",
      // Nobody sees that it is another.
      "r\u200b@x.org", "r\u202e@x.org", "r@x.org\u200e", "r\u00a0@x.org", "r\u2028@x.org", "r@x.org\u0085", "r@.org",
      "r@x..org", "r@x.org.", longest + "a@x.org", "r@" + test::repeated(longest + ".", 4) + "org"};
  for (const std::string& to : bad)
    EXPECT_THAT(vault.failure("draft_email", Json(Json::Object{{"body", "x"}, {"to", to}}).compact()),
                HasSubstr("isn't an email address."))
        << to;
  EXPECT_THAT(store.drafts(), IsEmpty());

  const std::string said = vault.text("draft_email", R"({"account":" WORK@example.org ","subject":"Plan\n\u0007B",
      "to":"\"Silva, Rui\" <rui@x.org>, eva@x.org, RUI@x.org","cc":"eva@x.org, leo@x.org <leo@x.org>, zoé@münchen.de","body":"Dear\u0000 all\n"})");
  const MailDraft draft = store.drafts().at(0);
  EXPECT_EQ(*Json::parse(said).find("message")->string(), "Saved as a draft in Vesk. Only the user can send it.");
  EXPECT_EQ(*Json::parse(said).find("id")->string(), draft.id);
  EXPECT_EQ(draft, (MailDraft{.id = draft.id,
                              .accountID = "work",
                              .to = {{"Silva, Rui", "rui@x.org"}, {"", "eva@x.org"}},
                              .cc = {{"leo@x.org", "leo@x.org"}, {"", "zoé@münchen.de"}},
                              .subject = "Plan B",
                              .body = "Dear all\n",
                              .byAI = true,
                              .updated = draft.updated}));
  EXPECT_EQ(last().title, "Plan B");
}

TEST_F(MailChangeTools, AnswerWhoeverWroteInTheSameThread) {
  const auto answered = [&](ParsedMail mail, std::string_view more = "") {
    const std::string id = add(std::move(mail));
    vault.text("draft_email", fmt::format(R"({{"reply_to":"{}","body":"Yes"{}}})", id, more));
    const MailDraft draft = store.drafts().at(0);
    store.removeDraft(draft.id);
    std::string to;
    for (const MailAddress& each : draft.to) to += each.name + each.address + " ";
    for (const MailAddress& each : draft.cc) to += "+" + each.address + " ";
    return fmt::format("{}{}|{}|{}|{}", to, draft.subject, draft.inReplyTo, draft.references, draft.accountID);
  };
  const MailAddress rui{"Rui", "rui@x.org"};
  const ParsedMail mail{.subject = "RE: re: Compost", .from = rui, .messageID = "<3@x>"};
  EXPECT_EQ(answered(mail), "Ruirui@x.org Re: Compost|<3@x>|<3@x>|ana");
  ParsedMail list = mail;
  list.replyTo = {{"", "Ana@example.org"}, {"", "list@x.org"}};
  list.references = "<1@x>\n junk <a b@x> <<2@x>";
  EXPECT_EQ(answered(list, R"(,"cc":"work@example.org, rui@x.org, LIST@x.org")"),
            "list@x.org +work@example.org +rui@x.org Re: Compost|<3@x>|<1@x> <2@x> <3@x>|ana");
  EXPECT_EQ(answered(mail, R"(,"to":"ana@example.org, eva@x.org","cc":"eva@x.org")"),
            "ana@example.org eva@x.org Re: Compost|<3@x>|<3@x>|ana")
      << "whom the assistant names is written to, the user too";
  EXPECT_EQ(answered({.subject = "Q", .from = MailAddress{"", "ana@example.org"}, .to = {rui}, .inReplyTo = "<0@x>"}),
            "Ruirui@x.org Re: Q|||ana")
      << "what the user sent, and nothing to refer to";
  EXPECT_EQ(answered(mail, R"(,"to":"eva@x.org","subject":"New","account":"work@example.org")"),
            "eva@x.org New|<3@x>|<3@x>|work");

  ParsedMail hostile = mail;
  hostile.from = MailAddress{"boss@example.org", "rui@x.org"};
  for (int i = 10; i < 60; ++i) hostile.references += fmt::format("<{}@x> ", i);
  const std::string said = answered(hostile);
  EXPECT_THAT(said, AllOf(StartsWith("rui@x.org Re:"), HasSubstr("|<10@x> <41@x> "), HasSubstr("<59@x> <3@x>|")));
  hostile.from->address = "rui\u202e@x.org";
  EXPECT_EQ(vault.failure("draft_email", fmt::format(R"({{"reply_to":"{}","body":"x"}})", add(hostile))),
            "The email being answered gives an address that can't be written to. Give to.");
}

TEST_F(MailChangeTools, WaitForTheUserWhoSeesAllOfIt) {
  vault.allowAll(ApprovalLevel::always);
  const ProposalStore proposals(support);
  const std::string id = add({.subject = "Compost", .from = MailAddress{"Rui", "rui@x.org"}, .messageID = "<3@x>"});
  vault.text("draft_email", fmt::format(R"({{"reply_to":"{}","cc":"eva@x.org","body":"Yes\n"}})", id));
  vault.text("update_email", fmt::format(R"({{"id":"{}","read":true,"move_to":"archive"}})", id));
  const Proposal draft = proposals.all().at(0);
  const Proposal update = proposals.all().at(1);
  EXPECT_EQ(draft.title, "Draft an answer to Rui <rui@x.org>: \"Re: Compost\"");
  EXPECT_EQ(draft.after,
            "From: ana@example.org\nTo: Rui <rui@x.org>\nCc: eva@x.org\nSubject: Re: Compost\nIn-Reply-To: <3@x>\n\n"
            "Yes\n");
  EXPECT_EQ(update.title, "Mark as read, move to archive: \"Compost\" from Rui <rui@x.org>");
  EXPECT_EQ(update.after, "From: Rui <rui@x.org>\nSubject: Compost\nMessage-ID: <3@x>\nRead: yes\nFolder: archive\n");
  EXPECT_THAT(store.drafts(), IsEmpty());
  EXPECT_THAT(store.pendingChanges("ana"), IsEmpty());

  vault.server.apply(draft);
  MailDraft written = store.drafts().at(0);
  written.body = "Yes, gladly";
  store.save(written);
  proposals.add(draft);  // as after a crash
  vault.server.apply(draft);
  EXPECT_THAT(store.drafts(), ElementsAre(written)) << "made once, and not over what the user wrote";
  EXPECT_EQ(log.recent(100).size(), 1u);
  vault.folder.write("../support/ai-actions.jsonl", "");  // as after a crash before it was logged
  proposals.add(draft);
  vault.server.apply(draft);
  EXPECT_EQ(log.recent(100).size(), 1u);

  // Its row went, and its number to another mail: that must not be archived.
  store.remove({uid}, "ana", "INBOX");
  ASSERT_EQ(add({.subject = "Compost", .from = MailAddress{"Rui", "rui@x.org"}, .messageID = "<4@x>"}), id);
  EXPECT_THROW(vault.server.apply(update), ProposalError);
  proposals.add(draft);
  store.remove("ana");
  EXPECT_THROW(vault.server.apply(draft), ProposalError);
  EXPECT_THROW(vault.server.apply(update), ProposalError);
  EXPECT_EQ(proposals.all().size(), 2u);
  EXPECT_THAT(store.drafts(), IsEmpty());
}

// What waits names the email for the user, and not for an assistant that may not read it; whichever it was then.
TEST_F(MailChangeTools, StayApprovableWhenReadingIsSwitched) {
  const ProposalStore proposals(support);
  AIAccess access{.canDraftEmail = true, .canManageEmail = true, .approval = ApprovalLevel::always};
  for (const bool canRead : {false, true}) {
    const std::string id = add({.subject = "Compost", .from = MailAddress{"Rui", "rui@x.org"}, .messageID = "<3@x>"});
    access.canReadEmail = canRead;
    vault.allow(access);
    vault.text("draft_email", fmt::format(R"({{"reply_to":"{}","body":"Yes"}})", id));
    vault.text("draft_email", R"({"to":"eva@x.org","subject":"Own","body":"Hi","account":"ana@example.org"})");
    change(id, R"("read":true,"flagged":true)");
    access.canReadEmail = !canRead;
    vault.allow(access);
    const std::string titles = vault.text("list_proposals");
    EXPECT_EQ(titles.find("Compost") != std::string::npos, access.canReadEmail);
    EXPECT_EQ(titles.find("Mark as read, flag: email " + id) != std::string::npos, !access.canReadEmail);
    EXPECT_EQ(titles.find("Draft an answer to email " + id) != std::string::npos, !access.canReadEmail);
    EXPECT_THAT(titles, HasSubstr("Draft an email to eva@x.org"));
    for (const Proposal& each : proposals.all()) EXPECT_NO_THROW(vault.server.apply(each)) << each.title;
  }
  EXPECT_EQ(store.drafts().size(), 4u);
}

// To answer and to archive is not to read.
TEST_F(MailChangeTools, TellNothingOfAnEmailWhereReadingIsOff) {
  const std::string id = add({.subject = "Compost", .from = MailAddress{"Rui", "rui@x.org"}, .messageID = "<3@x>"});
  std::string told;
  for (const ApprovalLevel level : {ApprovalLevel::always, ApprovalLevel::trusted}) {
    vault.allow({.canDraftEmail = true, .canManageEmail = true, .approval = level});
    told += vault.text("draft_email", fmt::format(R"({{"reply_to":"{}","body":"Yes"}})", id));
    told += change(id, R"("read":true,"move_to":"archive")");
  }
  told += vault.text("list_proposals");
  EXPECT_THAT(told, AllOf(Not(HasSubstr("Compost")), Not(HasSubstr("rui")), HasSubstr("email " + id)));
  EXPECT_EQ(store.drafts().at(0).subject, "Re: Compost");
}

TEST_F(MailChangeTools, ChangeAnEmailAndQueueThatForTheServer) {
  const std::string id = add({.subject = "Compost", .messageID = "<3@x>"});
  const std::string work = add({.subject = "Report"}, "work");
  const std::pair<std::string, const char*> refusals[] = {
      {R"("id":"")", "The email's id is required."},
      {fmt::format(R"("id":"{}")", id), "Nothing to change: give read, flagged or move_to."},
      {fmt::format(R"("id":"{}","move_to":"spam")", id), "move_to must be inbox, archive or trash."},
      {fmt::format(R"("id":"{}","move_to":"archive","read":true)", work), "This account has no archive."},
      {R"("id":"77","read":true)", "No email has the id \"77\". Use list_emails or search_emails."},
  };
  for (const auto& [arguments, sentence] : refusals)
    EXPECT_EQ(vault.failure("update_email", fmt::format("{{{}}}", arguments)), sentence);
  const std::size_t logged = log.recent(100).size();
  EXPECT_THAT(change(id, R"("read":false,"move_to":"inbox")"), HasSubstr("It is in inbox already."));
  EXPECT_EQ(log.recent(100).size(), logged);
  EXPECT_THAT(store.pendingChanges("ana"), IsEmpty());
  EXPECT_THAT(store.pendingChanges("work"), IsEmpty());

  const std::string moved = change(id, R"("read":true,"flagged":true,"move_to":"archive")");
  EXPECT_EQ(Json::parse(moved).find("id"), nullptr) << "it is no use any more";
  EXPECT_THAT(moved, Not(HasSubstr("undone")));
  EXPECT_THAT(change(add({.subject = "Nameless"}), R"("move_to":"archive")"), HasSubstr("can't be undone"));
  const MailChange on{.accountID = "ana", .folder = "INBOX", .uid = 1, .messageID = "<3@x>", .isOn = true};
  MailChange flagged = on;
  flagged.kind = MailChange::Kind::flagged;
  MailChange move = on;
  move.kind = MailChange::Kind::move;
  move.isOn = false;
  move.target = MailFolderRole::archive;
  move.targetPath = "Old";
  std::vector<MailChange> queued;
  for (const auto& [place, each] : store.pendingChanges("ana"))
    if (each.messageID == on.messageID) queued.push_back(each);
  EXPECT_THAT(queued, ElementsAre(on, flagged, move));
  EXPECT_EQ(store.find("ana", "INBOX", 1u), std::nullopt) << "it went from here";
}

// That undoing gives back what was is the property's to show; here is what keeps it from that.
TEST_F(MailChangeTools, AreOnlyUndoneWhereNothingChangedSince) {
  using Step = std::function<void()>;
  const auto refused = [&](const Step& act, const Step& interfere, const char* sentence) {
    act();
    EXPECT_EQ(obstacle(), std::nullopt) << sentence;
    interfere();
    const auto waiting = store.pendingChanges("ana");
    const auto drafts = store.drafts();
    EXPECT_EQ(obstacle(), sentence);
    EXPECT_THROW(log.undo(last(), files), VaultError);
    EXPECT_EQ(store.pendingChanges("ana"), waiting);
    EXPECT_EQ(store.drafts(), drafts);
  };
  const Step draft = [&] { vault.text("draft_email", R"({"to":"r@x.org","body":"x","account":"ana@example.org"})"); };
  refused(
      draft, [&] { store.removeDraft(store.drafts().at(0).id); }, "The draft isn't there any more.");
  refused(
      draft,
      [&] {
        MailDraft edited = store.drafts().at(0);
        edited.body += "y";
        store.save(edited);
      },
      "The draft was changed since.");

  const std::string id = add({.subject = "Compost", .messageID = "<3@x>"});
  const Step read = [&] { change(id, R"("read":true)"); };
  refused(
      read,
      [&] {
        store.finishChange(store.pendingChanges("ana").back().first);
        store.updateFlags({{.uid = uid}}, "ana", "INBOX");
      },
      "The email was changed since.");
  const Step archive = [&] { change(id, R"("move_to":"archive")"); };
  refused(
      archive, [&] { store.finishChange(store.pendingChanges("ana").back().first); },
      "The email isn't there any more.");
  store.insert({{.uid = 7, .mail = {.messageID = "<3@x>"}}}, "ana", "Old");
  EXPECT_EQ(obstacle(), std::nullopt) << "the next sync found it";
  EXPECT_EQ(undo::description(last()), "Moves the email back to INBOX with the next sync.");
  store.saveFolders({{"Old", "Old", MailFolderRole::archive}}, "ana");
  EXPECT_EQ(obstacle(), "The folder it was in isn't there any more.");

  // One with the Message-ID of the one on its way was in the archive before, and stays there.
  store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox}, {"Old", "Old", MailFolderRole::archive}}, "ana");
  add({.messageID = "<5@x>"}, "ana", "Old");
  const std::uint32_t earlier = uid;
  change(add({.messageID = "<5@x>"}), R"("move_to":"archive")");
  log.undo(last(), files);
  EXPECT_NE(store.find("ana", "Old", earlier), std::nullopt);
  EXPECT_EQ(store.pendingChanges("ana").back().second.uid, std::nullopt);
  EXPECT_EQ(store.pendingChanges("ana").back().second.targetPath, "INBOX");

  change(add({.subject = "Nameless"}, "ana", "Old"), R"("flagged":true)");
  EXPECT_EQ(obstacle(), std::nullopt);
  fs::remove_all(support + "/mail");
  EXPECT_EQ(obstacle(), "The email isn't there any more.");
}

}  // namespace
}  // namespace vesk
