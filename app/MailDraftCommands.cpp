// vesk mail draft, reply and drafts: mail that isn't sent yet.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Days.h"
#include "app/EditedCopy.h"
#include "app/MailCommands.h"
#include "app/MailDraftText.h"
#include "app/MailLookup.h"
#include "app/Question.h"
#include "app/ShortID.h"
#include "app/StandardInput.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/base/Uuid.h"
#include "core/mail/MIME.h"
#include "core/mail/MailReply.h"
#include "core/mail/MailStore.h"
#include "core/mail/Recipients.h"

namespace vesk::app {

namespace {

// Servers take mails of about three times that.
constexpr InputRules bodyText = {.most = std::size_t{8} << 20, .tooMuch = "This is too much text for a mail."};

std::string inputAsBody() {
  std::string text = standardInput(bodyText);
  if (!text::isValidUtf8(text)) throw Error("The text isn't UTF-8.");
  text = std::string(text::trim(text::withLineBreaks(text, "\n"), "\n"));
  if (text::trimWhitespace(text).empty()) throw Error("A mail needs some text: give it as the input.");
  return text;
}

void saveNew(MailStore& store, const MailDraft& draft) {
  store.save(draft);
  print("Saved draft {0}. Send it with vesk mail send {0}.\n", shortID(draft.id));
}

// What is stored may have changed while the user was writing.
void saveEdited(MailStore& store, const MailDraft& before, const MailDraft& after) {
  if (store.outboxMail(before.id)) throw Error("This draft is being sent. See vesk mail drafts.");
  if (store.draft(before.id) != before) throw Error("The draft changed meanwhile.");
  store.save(after);
  print("Saved draft {}.\n", shortID(after.id));
}

// As the user leaves it in the editor, once it can be read.
MailDraft edited(const EditedCopy& copy, const MailDraft& draft, const std::vector<MailAccount>& accounts) {
  while (true) {
    const std::string text = copy.edit();
    try {
      return draftFrom(text, draft, accounts);
    } catch (const Error& error) {
      print("{}\n", safeLines(error.what()));
      if (!isConfirmed("Edit it again? (y/n)")) throw;
    }
  }
}

// Opens the draft in the editor and saves it by `save`, unless it was left as it is.
template <typename Save>
void editWith(const MailStore& store, const MailDraft& draft, const char* sentenceForUnchanged, const Save& save) {
  const EditedCopy copy(editableText(draft, accountWithID(store, draft.accountID)), "draft.eml");
  try {
    MailDraft after = edited(copy, draft, store.accounts());
    if (copy.discardUnchanged()) return print("{}\n", sentenceForUnchanged);
    after.updated = std::chrono::system_clock::now();
    save(after);
  } catch (const std::exception& failure) {
    if (copy.discardUnchanged()) throw;
    throw Error(fmt::format("{} Your text is kept in {}", failure.what(), copy.path()));
  }
  copy.discard();
}

// In the editor where there is a terminal; else the input is what stands above what the draft has.
void write(MailStore& store, MailDraft draft) {
  draft.id = newUuid();
  if (canAsk()) {
    const auto save = [&](const MailDraft& after) { saveNew(store, after); };
    return editWith(store, draft, "Nothing was written, so there is no draft.", save);
  }
  const std::string written = inputAsBody();
  draft.body = draft.body.empty() ? written : fmt::format("{}\n\n{}", written, text::trim(draft.body, "\n"));
  draft.updated = std::chrono::system_clock::now();
  saveNew(store, draft);
}

// ---- draft

struct DraftOptions {
  std::vector<std::string> to = {};
  std::vector<std::string> cc = {};
  std::vector<std::string> bcc = {};
  std::string subject = {};
  std::string from = {};
};

void writeDraft(const DraftOptions& options) {
  const auto people = [](const std::vector<std::string>& lists) { return recipients::from(text::join(lists, ",")); };
  MailDraft draft{.to = people(options.to),
                  .cc = people(options.cc),
                  .bcc = people(options.bcc),
                  .subject = MIME::visibleLine(options.subject)};
  const auto store = openMail();
  draft.accountID = senderNamed(*store, options.from).id;
  write(*store, std::move(draft));
}

// ---- reply

struct ReplyOptions {
  std::int64_t id = 0;
  bool all = false;
  std::string from = {};
};

void reply(const ReplyOptions& options) {
  const auto store = openMail();
  const MailDetail mail = mailNumbered(*store, options.id);
  const MailAccount sender =
      options.from.empty() ? accountWithID(*store, mail.summary.accountID) : accountNamed(*store, options.from);
  std::set<std::string> own;
  for (const MailAccount& account : store->accounts()) own.insert(text::key(account.address));
  MailDraft draft = mailReply::draft(mail, sender, own, options.all, Calendar::ofSystem());
  draft.accountID = sender.id;
  write(*store, std::move(draft));
}

// ---- drafts

std::string addressOf(const std::vector<MailAccount>& accounts, std::string_view id) {
  const auto account = std::ranges::find(accounts, id, &MailAccount::id);
  return account == accounts.end() ? "" : account->address;
}

// What the user is to know about a draft.
std::string noteOn(const MailStore& store, const MailDraft& draft) {
  if (const auto mail = store.outboxMail(draft.id)) return mail->isSent ? "sent, not filed" : "may be sent";
  return draft.byAI ? "by an assistant" : "";
}

void listDrafts(bool asJson) {
  const auto store = openMail();
  const auto drafts = allDrafts(*store);
  if (asJson) {
    const auto accounts = store->accounts();
    Json::Array entries;
    for (const MailDraft& draft : drafts) entries.push_back(draftJson(draft, addressOf(accounts, draft.accountID)));
    return print("{}\n", Json(Json::Object{{"drafts", std::move(entries)}}).pretty());
  }
  if (drafts.empty()) fmt::print(stderr, "There is no draft. Write one with vesk mail draft.\n");
  constexpr std::size_t subject = 3;
  constexpr std::size_t recipientColumns = 30;
  Table table(subject);
  const Calendar calendar = Calendar::ofSystem();
  for (const MailDraft& draft : drafts)
    table.add({{shortID(draft.id), Style::faint},
               {shownTime(draft.updated, calendar), Style::faint},
               {shortened(shownRecipients(draft), recipientColumns)},
               {draft.subject, Style::strong},
               {noteOn(*store, draft), Style::found}});
  print("{}", table.text(Terminal::ofStandardOutput()));
  tellSkipped(*store);
}

void showDraft(const std::string& typed) {
  const auto store = openMail();
  const MailDraft draft = draftNamed(*store, typed);
  print("{}", shownDraft(draft, accountWithID(*store, draft.accountID), Terminal::ofStandardOutput()));
}

void editDraft(const std::string& typed) {
  const auto store = openMail();
  const MailDraft draft = draftNamed(*store, typed);
  if (!canAsk()) throw Error("Editing needs a terminal.");
  editWith(*store, draft, "Nothing was changed.", [&](const MailDraft& after) { saveEdited(*store, draft, after); });
}

void deleteDraft(const std::string& typed, bool yes) {
  const auto store = openMail();
  const MailDraft draft = draftNamed(*store, typed);
  if (store->outboxMail(draft.id)) throw Error("This draft is being sent. See vesk mail drafts.");
  if (!yes && !canAsk()) throw Error("A deleted draft is gone for good. Add --yes if that is what you want.");
  const std::string what = fmt::format("To {}: {}", shownRecipients(draft), draft.subject);
  if (!yes && !isConfirmed(fmt::format("{}\nDelete this draft for good? (y/n)", safe(what))))
    return print("It stays.\n");
  if (!store->remove(draft)) throw Error("The draft changed meanwhile. Look at it with vesk mail drafts.");
  print("Deleted draft {}.\n", shortID(draft.id));
}

// ---- The commands

void addDraftCommand(CLI::App& mail) {
  const auto options = std::make_shared<DraftOptions>();
  CLI::App* command =
      mail.add_subcommand("draft", "Write a mail in your editor, or from the input. It is saved, not sent.");
  const auto people = [&](const char* name, std::vector<std::string>& list, const char* help) {
    command->add_option(name, list, help)->allow_extra_args(false);
  };
  people("--to", options->to, "Addresses, separated by commas: \"Rui <rui@example.org>, eva@example.org\"");
  people("--cc", options->cc, "Those who get a copy.");
  people("--bcc", options->bcc, "Those who get a copy that nobody is told of.");
  command->add_option("--subject", options->subject, "What it is about.");
  command->add_option("--from", options->from, "Your address, where several accounts are connected.");
  command->callback([options] { writeDraft(*options); });
}

void addReplyCommand(CLI::App& mail) {
  const auto options = std::make_shared<ReplyOptions>();
  CLI::App* command = mail.add_subcommand("reply", "Answer a mail: a draft with its text below yours.");
  command->add_option("MAIL", options->id, "Its number, from vesk mail list.")->required();
  command->add_flag("--all", options->all, "Answer everyone it went to.");
  command->add_option("--from", options->from, "Your address, when it is to be another one than it went to.");
  command->callback([options] { reply(*options); });
}

void addDraftsCommand(CLI::App& mail) {
  const auto asJson = std::make_shared<bool>(false);
  const auto id = std::make_shared<std::string>();
  const auto yes = std::make_shared<bool>(false);
  CLI::App* drafts = mail.add_subcommand("drafts", "List the drafts; show, edit or delete one.");
  drafts->require_subcommand(0, 1);
  drafts->add_flag("--json", *asJson, "Write JSON.");
  const auto add = [&](const char* name, const char* help) {
    CLI::App* command = drafts->add_subcommand(name, help);
    command->add_option("ID", *id, "The beginning of its id, from vesk mail drafts.")->required();
    return command;
  };
  add("show", "Show a draft.")->callback([id] { showDraft(*id); });
  add("edit", "Open a draft in your editor.")->callback([id] { editDraft(*id); });
  CLI::App* deletion = add("delete", "Delete a draft for good.");
  deletion->add_flag("--yes", *yes, "Don't ask.");
  deletion->callback([id, yes] { deleteDraft(*id, *yes); });
  drafts->callback([drafts, asJson] {
    if (drafts->get_subcommands().empty()) listDrafts(*asJson);
  });
}

}  // namespace

void addMailDraftCommands(CLI::App& mail) {
  addDraftCommand(mail);
  addReplyCommand(mail);
  addDraftsCommand(mail);
}

}  // namespace vesk::app
