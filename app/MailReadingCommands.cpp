// vesk mail list, search, waiting, read and attachment: the mail that is stored.

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/MailAttachments.h"
#include "app/MailCommands.h"
#include "app/MailLookup.h"
#include "app/MailRows.h"
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MailStore.h"

namespace vesk::app {

namespace {

using Mails = std::vector<MailSummary>;

// ---- list, search, waiting

struct ListOptions {
  std::string folder = "inbox";
  std::string account = {};
  bool unread = false;
  std::vector<std::string> words = {};
  std::size_t limit = 20;
  bool asJson = false;
};

void printMails(const Mails& mails, std::size_t total, const ListOptions& options) {
  if (options.asJson) {
    Json json;
    Json::Array entries;
    for (const MailSummary& mail : mails) entries.push_back(mailEntry(mail));
    json["mails"] = std::move(entries);
    json["total"] = total;
    return print("{}\n", json.pretty());
  }
  if (mails.empty()) fmt::print(stderr, "No mail was found.\n");
  print("{}", mailRows(mails, Terminal::ofStandardOutput()));
  if (total > mails.size()) print("and {} more: --limit shows them.\n", total - mails.size());
}

void list(const ListOptions& options) {
  const auto store = openMail();
  MailQuery query{.unreadOnly = options.unread, .limit = options.limit};
  if (!options.account.empty()) query.accountID = accountNamed(*store, options.account).id;
  if (!store->narrow(query, options.folder)) throw Error(fmt::format("No mail folder is called {}.", options.folder));
  printMails(store->messages(query), store->count(query), options);
  tellSkipped(*store);
}

void listWaiting(const ListOptions& options) {
  const auto store = openMail();
  Mails mails = store->waitingOnYou(unlimited);
  if (!options.account.empty()) {
    const std::string id = accountNamed(*store, options.account).id;
    std::erase_if(mails, [&](const MailSummary& mail) { return mail.accountID != id; });
  }
  const std::size_t total = mails.size();
  mails.resize(std::min(total, options.limit));
  printMails(mails, total, options);
  tellSkipped(*store);
}

void search(const ListOptions& options) {
  const auto store = openMail();
  const MailQuery query{.words = text::join(options.words, " "), .limit = options.limit};
  if (text::trim(query.words, " \t\r\n\"").empty()) throw Error("The words to look for are required.");
  printMails(store->messages(query), store->count(query), options);
  tellSkipped(*store);
}

// ---- read, attachment

struct ReadOptions {
  std::int64_t id = 0;
  bool asJson = false;
  bool asHTML = false;
  std::size_t number = 0;
  std::string file = {};
};

void read(const ReadOptions& options) {
  const MailDetail mail = mailNumbered(*openMail(), options.id);
  const Terminal terminal = Terminal::ofStandardOutput();
  if (options.asJson) return print("{}\n", mailJson(mail).pretty());
  if (options.asHTML && mail.html.empty()) throw Error("This mail has no HTML.");
  if (options.asHTML) return writeData(mail.html, terminal);
  print("{}", mailText(mail, terminal));
}

void saveAttachment(const ReadOptions& options) {
  const auto store = openMail();
  const MailDetail mail = mailNumbered(*store, options.id);
  const MailAccount account = accountWithID(*store, mail.summary.accountID);
  const std::string file = fetchAttachment(account, mail, options.number, options.file);
  if (file != "-") print("Saved {}.\n", safe(file));
}

void addListOptions(CLI::App& command, ListOptions& options) {
  command.add_option("--limit", options.limit, "How many to show.")->check(positive())->capture_default_str();
  command.add_flag("--json", options.asJson, "Write JSON.");
}

void addListCommand(CLI::App& mail) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = mail.add_subcommand("list", "List mail, the newest first.");
  command->add_option("--folder", options->folder, "inbox, sent, drafts, archive, trash, spam, or a folder's name.")
      ->capture_default_str();
  command->add_option("--account", options->account, "The address of one account.");
  command->add_flag("--unread", options->unread, "Only what is unread.");
  addListOptions(*command, *options);
  command->callback([options] { list(*options); });
}

void addWaitingCommand(CLI::App& mail) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = mail.add_subcommand(
      "waiting", "List what waits on you: mail from people you have written to that is unread or flagged.");
  command->add_option("--account", options->account, "The address of one account.");
  addListOptions(*command, *options);
  command->callback([options] { listWaiting(*options); });
}

void addSearchMailCommand(CLI::App& mail) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = mail.add_subcommand("search", "Find mail by the beginnings of words: subject, sender and text.");
  command->add_option("WORDS", options->words, "For example: vesk mail search invoice ana")->required();
  addListOptions(*command, *options);
  command->callback([options] { search(*options); });
}

void addReadCommand(CLI::App& mail) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* command = mail.add_subcommand("read", "Show a mail and its attachments.");
  command->add_option("MAIL", options->id, "Its number, from vesk mail list.")->required();
  CLI::Option* html = command->add_flag("--html", options->asHTML, "Write its HTML as it is.");
  command->add_flag("--json", options->asJson, "Write JSON.")->excludes(html);
  command->callback([options] { read(*options); });
}

void addAttachmentCommand(CLI::App& mail) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* command = mail.add_subcommand("attachment", "Fetch an attachment from the server and save it.");
  command->add_option("MAIL", options->id, "The mail's number.")->required();
  command->add_option("NUMBER", options->number, "The attachment's, from vesk mail read.")
      ->required()
      ->check(positive());
  command->add_option("FILE", options->file,
                      "Where to; - for standard output. Without it a file of its name in this folder, never over one "
                      "that is there.");
  command->callback([options] { saveAttachment(*options); });
}

}  // namespace

void addMailReadingCommands(CLI::App& mail) {
  addListCommand(mail);
  addSearchMailCommand(mail);
  addWaitingCommand(mail);
  addReadCommand(mail);
  addAttachmentCommand(mail);
}

}  // namespace vesk::app
