#include "core/toolserver/tools/MailChangeTools.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/mail/MIME.h"
#include "core/mail/MailReply.h"
#include "core/mail/Recipients.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/ConnectedMail.h"

namespace vesk {

namespace {

using connectedMail::shown;
using connectedMail::shownLine;
using connectedMail::subjectCharacters;
using toolResult::quoted;

using Addresses = std::vector<MailAddress>;

// Without what nothing shows: users are to see all that they send.
std::string visible(std::string_view text) { return MIME::visibleText(text).text; }

bool isSpaceOrControl(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

// ---- Recipients

Addresses addressesOf(const ToolArguments& arguments, std::string_view key) {
  return recipients::from(arguments.optionalText(key).value_or(""));
}

// Drops the addresses that are known already, and makes the others known.
void dropKnown(Addresses& addresses, std::set<std::string>& known) {
  std::erase_if(addresses, [&](const MailAddress& each) { return !known.insert(text::key(each.address)).second; });
}

// ---- draft_email

using Accounts = std::vector<MailAccount>;

constexpr const char* bodyMissing = "The email's text is required.";
constexpr const char* recipientMissing = "At least one address in to is required.";
constexpr const char* badSender = "The email being answered gives an address that can't be written to. Give to.";

const MailAccount& senderOf(const ToolArguments& arguments, const Accounts& accounts, const MailDetail* answered) {
  if (const auto address = arguments.optionalText("account")) return connectedMail::accountNamed(accounts, *address);
  if (accounts.size() == 1) return accounts.front();
  for (const MailAccount& account : accounts)
    if (answered && account.id == answered->summary.accountID) return account;
  std::vector<std::string> choices;
  for (const MailAccount& account : accounts) choices.push_back(account.address);
  throw ToolError(fmt::format("Say which account in account: {}", text::join(choices, ", ")));
}

Addresses answerTo(const MailDetail& mail, const std::set<std::string>& own) {
  try {
    return mailReply::recipients(mail, own);
  } catch (const Error&) {
    throw ToolError(badSender);
  }
}

// Without control characters, which no mail may hold, or shows.
std::string bodyOf(const ToolArguments& arguments) {
  std::string body = visible(arguments.text("body", bodyMissing));
  std::erase_if(body, [](char c) {
    return isSpaceOrControl(c) && std::string_view(" \t\r\n").find(c) == std::string_view::npos;
  });
  if (text::trimWhitespace(body).empty()) throw ToolError(bodyMissing);
  return body;
}

// As far as the arguments say.
MailDraft draftOf(const ToolArguments& arguments) {
  MailDraft draft{.body = bodyOf(arguments), .byAI = true};
  draft.to = addressesOf(arguments, "to");
  draft.cc = addressesOf(arguments, "cc");
  if (draft.to.empty() && !arguments.optionalText("reply_to")) throw ToolError(recipientMissing);
  draft.subject = MIME::visibleLine(arguments.optionalText("subject").value_or(""));
  return draft;
}

// Fills in what follows from the mail that is answered.
void makeAnswer(MailDraft& draft, const MailDetail& answered, const Accounts& accounts) {
  std::set<std::string> own;
  for (const MailAccount& account : accounts) own.insert(text::key(account.address));
  if (draft.to.empty()) draft.to = answerTo(answered, own);
  if (draft.to.empty()) throw ToolError(recipientMissing);
  if (draft.subject.empty()) draft.subject = mailReply::subject(answered.summary.subject);
  mailReply::addThread(draft, answered);
}

// Whole, as the user decides by it; "Ana <ana@example.org>, rui@example.org".
std::string listOf(const Addresses& people) {
  std::vector<std::string> all;
  for (const auto& [name, address] : people)
    all.push_back(name.empty() ? address : fmt::format("{} <{}>", name, address));
  return text::join(all, ", ");
}

// A draft as it is shown to the user before it is made.
std::string shownDraft(const MailDraft& draft, const MailAccount& sender) {
  std::string head = fmt::format("From: {}\nTo: {}\n", sender.address, listOf(draft.to));
  if (!draft.cc.empty()) head += fmt::format("Cc: {}\n", listOf(draft.cc));
  head += fmt::format("Subject: {}\n", draft.subject);
  if (!draft.inReplyTo.empty()) head += fmt::format("In-Reply-To: {}\n", draft.inReplyTo);
  return fmt::format("{}\n{}", head, draft.body);
}

// Nobody gets it twice.
void dropRepeated(MailDraft& draft) {
  std::set<std::string> known;
  dropKnown(draft.to, known);
  dropKnown(draft.cc, known);
}

// Whom it goes to and its subject may be those of the mail that it answers.
std::string savedDraft(const MailDraft& draft, const MailAccount& sender, bool mayTell) {
  Json facts;
  facts["id"] = draft.id;
  facts["account"] = toolResult::shortened(sender.address, connectedMail::nameCharacters);
  if (mayTell) toolResult::addList(facts, "to", shown(draft.to), connectedMail::addressUnits);
  if (!draft.cc.empty()) toolResult::addList(facts, "cc", shown(draft.cc), connectedMail::addressUnits);
  if (mayTell) facts["subject"] = shownLine(draft.subject, subjectCharacters);
  facts["message"] = "Saved as a draft in Vesk. Only the user can send it.";
  return facts.pretty();
}

std::string titleOf(const MailDraft& draft) {
  return fmt::format("Draft {} to {}{}", draft.inReplyTo.empty() ? "an email" : "an answer",
                     shownLine(listOf(draft.to), subjectCharacters),
                     draft.subject.empty() ? "" : fmt::format(": {}", quoted(draft.subject)));
}

PlannedChange draftEmail(ToolContext& context, const ToolArguments& arguments) {
  MailDraft draft = draftOf(arguments);
  const std::shared_ptr<MailStore> store = connectedMail::store(context);
  const Accounts accounts = store->accounts();
  const auto answeredID = arguments.optionalText("reply_to");
  const auto answered = answeredID ? std::optional(connectedMail::mail(*store, *answeredID)) : std::nullopt;
  if (answered) makeAnswer(draft, *answered, accounts);
  dropRepeated(draft);
  const MailAccount sender = senderOf(arguments, accounts, answered ? &*answered : nullptr);
  draft.accountID = sender.id;
  draft.id = context.newIDs()();
  draft.updated = context.surroundings().now();
  const bool mayTell = !answered || context.access().canReadEmail;
  PlannedChange change{.title = titleOf(draft)};
  if (answered) change.titleWithoutMail = fmt::format("Draft an answer to email {}", *answeredID);
  change.after = shownDraft(draft, sender);
  change.carryOut = [&context, store, draft, sender, mayTell] {
    const std::string title = draft.subject.empty() ? fmt::format("To {}", listOf(draft.to)) : draft.subject;
    context.changes().draftEmail(*store, draft, shownLine(title, subjectCharacters));
    return savedDraft(draft, sender, mayTell);
  };
  return change;
}

// ---- update_email

struct EmailUpdate {
  std::optional<bool> read = {};
  std::optional<bool> flagged = {};
  std::optional<MailFolderRole> target = {};
};

std::optional<bool> flagOf(const ToolArguments& arguments, std::string_view key) {
  return arguments.has(key) ? std::optional(arguments.flag(key)) : std::nullopt;
}

EmailUpdate updateOf(const ToolArguments& arguments) {
  constexpr const char* badTarget = "move_to must be inbox, archive or trash.";
  EmailUpdate update{.read = flagOf(arguments, "read"), .flagged = flagOf(arguments, "flagged")};
  if (const auto typed = arguments.given("move_to", badTarget)) {
    for (const MailFolderRole role : {MailFolderRole::inbox, MailFolderRole::archive, MailFolderRole::trash})
      if (name(role) == *typed) update.target = role;
    if (!update.target) throw ToolError(badTarget);
  }
  if (!update.read && !update.flagged && !update.target)
    throw ToolError("Nothing to change: give read, flagged or move_to.");
  return update;
}

bool isIn(const MailStore& store, const MailSummary& mail, MailFolderRole role) {
  return std::ranges::any_of(store.folderNames(), [&](const MailFolder& folder) {
    return folder.accountID == mail.accountID && folder.path == mail.folder && folder.role == role;
  });
}

// What of the update isn't so already.
std::vector<MailChange> changesOf(const EmailUpdate& update, const MailSummary& mail, const MailStore& store) {
  const MailChange on{.accountID = mail.accountID, .folder = mail.folder, .uid = mail.uid, .messageID = mail.messageID};
  std::vector<MailChange> changes;
  const auto add = [&](MailChange::Kind kind) -> MailChange& {
    changes.push_back(on);
    changes.back().kind = kind;
    return changes.back();
  };
  if (update.read && *update.read != mail.isRead) add(MailChange::Kind::read).isOn = *update.read;
  if (update.flagged && *update.flagged != mail.isFlagged) add(MailChange::Kind::flagged).isOn = *update.flagged;
  if (!update.target || isIn(store, mail, *update.target)) return changes;
  const auto folder = store.folder(mail.accountID, *update.target);
  if (!folder) throw ToolError(fmt::format("This account has no {}.", name(*update.target)));
  MailChange& move = add(MailChange::Kind::move);
  move.target = update.target;
  move.targetPath = folder->path;
  return changes;
}

// "Mark as read, move to archive"
std::string wordsOf(const EmailUpdate& update) {
  std::vector<std::string> words;
  if (update.read) words.emplace_back(*update.read ? "mark as read" : "mark as unread");
  if (update.flagged) words.emplace_back(*update.flagged ? "flag" : "take the flag off");
  if (update.target) words.push_back(fmt::format("move to {}", name(*update.target)));
  std::string line = text::join(words, ", ");
  line.front() = static_cast<char>(line.front() - 'a' + 'A');
  return line;
}

// What the user decides on: which email it is, and how it would be. How it is now is left out: when they have read it
// meanwhile, it can be archived all the same.
std::string shownUpdate(const EmailUpdate& update, const MailSummary& mail) {
  std::string lines = fmt::format("From: {}\nSubject: {}\n", shown(mail.from), MIME::visibleLine(mail.subject));
  if (mail.date != distantPast) lines += fmt::format("Date: {}\n", time::iso8601(mail.date));
  if (!mail.messageID.empty()) lines += fmt::format("Message-ID: {}\n", text::collapseWhitespace(mail.messageID));
  if (update.read) lines += fmt::format("Read: {}\n", *update.read ? "yes" : "no");
  if (update.flagged) lines += fmt::format("Flagged: {}\n", *update.flagged ? "yes" : "no");
  if (update.target) lines += fmt::format("Folder: {}\n", name(*update.target));
  return lines;
}

bool isMove(const std::vector<MailChange>& changes) {
  return !changes.empty() && changes.back().kind == MailChange::Kind::move;
}

std::string messageOf(const EmailUpdate& update, const MailSummary& mail, const std::vector<MailChange>& changes) {
  const bool isMoved = isMove(changes);
  std::vector<std::string> sentences;
  if (isMoved) sentences.emplace_back("It is in that folder, under another id, once Vesk has synced.");
  if (isMoved && mail.messageID.empty())
    sentences.emplace_back("It has no Message-ID to find it by, so this can't be undone.");
  if (!isMoved && update.target) sentences.push_back(fmt::format("It is in {} already.", name(*update.target)));
  if (changes.empty()) sentences.emplace_back("Nothing had to be changed.");
  return text::join(sentences, " ");
}

// The id is no use any more once the email is moved.
std::string updatedEmail(const EmailUpdate& update, const MailSummary& mail, const std::vector<MailChange>& changes) {
  Json result;
  if (!isMove(changes)) result["id"] = fmt::to_string(mail.id);
  if (update.read) result["read"] = *update.read;
  if (update.flagged) result["flagged"] = *update.flagged;
  if (update.target) result["folder"] = name(*update.target);
  const std::string message = messageOf(update, mail, changes);
  if (!message.empty()) result["message"] = message;
  return result.pretty();
}

std::string nameOf(const MailSummary& mail) {
  const std::string sender = shown(mail.from);
  const std::string subject = quoted(visible(mail.subject));
  return sender.empty() ? subject : fmt::format("{} from {}", subject, sender);
}

PlannedChange updateEmail(ToolContext& context, const ToolArguments& arguments) {
  const std::string id = arguments.text("id", connectedMail::idMissing);
  const EmailUpdate update = updateOf(arguments);
  const std::shared_ptr<MailStore> store = connectedMail::store(context);
  const MailSummary mail = connectedMail::mail(*store, id).summary;
  const std::vector<MailChange> changes = changesOf(update, mail, *store);
  PlannedChange change{.title = fmt::format("{}: {}", wordsOf(update), nameOf(mail)),
                       .titleWithoutMail = fmt::format("{}: email {}", wordsOf(update), id)};
  change.after = shownUpdate(update, mail);
  change.changesNothing = changes.empty();
  change.carryOut = [&context, store, update, mail, changes] {
    const std::string title = shownLine(mail.subject, subjectCharacters);
    if (!changes.empty() && !context.changes().updateEmail(*store, mail, changes, title))
      throw ToolError("The email changed meanwhile. Use read_email to see how it is now.");
    return updatedEmail(update, mail, changes);
  };
  return change;
}

}  // namespace

Tool draftEmailTool() {
  return {"draft_email",
          "Save an email as a draft in Vesk. Nothing is sent: only the user can send it, from the Mail screen.",
          {{"to", "string", "Addresses, separated by commas. Optional in a reply."},
           {"cc", "string", "Addresses, separated by commas."},
           {"subject", "string"},
           {"body", "string", "The plain text of the email.", true},
           {"reply_to", "string", "The id of the email being answered."},
           {"account", "string", "The address to send from, when several are connected."}},
          Effect::adds,
          &AIAccess::canDraftEmail,
          draftEmail};
}

Tool updateEmailTool() {
  return {"update_email",
          "Mark an email read or flagged, or move it to the inbox, archive or trash. The user can undo this in Vesk.",
          {{"id", "string", "An id from list_emails or search_emails.", true},
           {"read", "boolean"},
           {"flagged", "boolean"},
           {.name = "move_to", .type = "string", .values = {"inbox", "archive", "trash"}}},
          Effect::adds,
          &AIAccess::canManageEmail,
          updateEmail};
}

}  // namespace vesk
