// vesk mail: the mail that is stored.

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/MailAttachments.h"
#include "app/MailRows.h"
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MailStore.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

using Mails = std::vector<MailSummary>;

std::unique_ptr<MailStore> openStore() {
  auto store = MailStore::openIfThere(environment::supportDirectory());
  if (!store) throw Error("There is no mail yet: no account was ever connected.");
  return store;
}

// A value that couldn't be read is no reason to show nothing.
void tellSkipped(const MailStore& store) {
  if (const std::size_t count = store.skipped())
    fmt::print(stderr, "{} of the mail database can't be read and left out.\n", counted(count, "value"));
}

// ---- list, search

struct ListOptions {
  std::string folder = "inbox";
  std::string account = {};
  bool unread = false;
  bool waiting = false;
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

std::string accountNamed(const MailStore& store, const std::string& address) {
  for (const MailAccount& account : store.accounts())
    if (text::equalIgnoringCase(account.address, address)) return account.id;
  throw Error(fmt::format("No connected account is {}.", address));
}

void listWaiting(const MailStore& store, const MailQuery& query, const ListOptions& options) {
  Mails mails = store.waitingOnYou(unlimited);
  std::erase_if(mails, [&](const MailSummary& mail) {
    return (query.accountID && mail.accountID != *query.accountID) || (query.unreadOnly && mail.isRead);
  });
  const std::size_t total = mails.size();
  mails.resize(std::min(total, options.limit));
  printMails(mails, total, options);
  tellSkipped(store);
}

void list(const ListOptions& options) {
  const auto store = openStore();
  MailQuery query{.unreadOnly = options.unread, .limit = options.limit};
  if (!options.account.empty()) query.accountID = accountNamed(*store, options.account);
  if (options.waiting) return listWaiting(*store, query, options);
  if (!store->narrow(query, options.folder)) throw Error(fmt::format("No mail folder is called {}.", options.folder));
  printMails(store->messages(query), store->count(query), options);
  tellSkipped(*store);
}

void search(const ListOptions& options) {
  const auto store = openStore();
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

MailDetail mailOf(const MailStore& store, std::int64_t id) {
  auto mail = store.message(id);
  if (!mail) throw Error(fmt::format("There is no mail {}. Find it with vesk mail list or vesk mail search.", id));
  return std::move(*mail);
}

void read(const ReadOptions& options) {
  const MailDetail mail = mailOf(*openStore(), options.id);
  const Terminal terminal = Terminal::ofStandardOutput();
  if (options.asJson) return print("{}\n", mailJson(mail).pretty());
  if (options.asHTML && mail.html.empty()) throw Error("This mail has no HTML.");
  if (options.asHTML) return writeData(mail.html, terminal);
  print("{}", mailText(mail, terminal));
}

void saveAttachment(const ReadOptions& options) {
  const auto store = openStore();
  const MailDetail mail = mailOf(*store, options.id);
  const auto accounts = store->accounts();
  const auto account = std::ranges::find(accounts, mail.summary.accountID, &MailAccount::id);
  if (account == accounts.end()) throw Error("The account of this mail isn't connected any more.");
  const std::string file = fetchAttachment(*account, mail, options.number, options.file);
  if (file != "-") print("Saved {}.\n", safe(file));
}

void addListOptions(CLI::App& command, ListOptions& options) {
  command.add_option("--limit", options.limit, "How many to show.")->check(positive())->capture_default_str();
  command.add_flag("--json", options.asJson, "Write JSON.");
}

void addListCommand(CLI::App& mail) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = mail.add_subcommand("list", "List mail, the newest first.");
  CLI::Option* folder =
      command->add_option("--folder", options->folder, "inbox, sent, drafts, archive, trash, spam, or a folder's name.")
          ->capture_default_str();
  command->add_option("--account", options->account, "The address of one account.");
  command->add_flag("--unread", options->unread, "Only what is unread.");
  command
      ->add_flag("--waiting", options->waiting,
                 "Only what waits on you: mail from people you have written to that is unread or flagged.")
      ->excludes(folder);
  addListOptions(*command, *options);
  command->callback([options] { list(*options); });
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
  command->add_option("ID", options->id, "Its number, from vesk mail list.")->required();
  CLI::Option* html = command->add_flag("--html", options->asHTML, "Write its HTML as it is.");
  command->add_flag("--json", options->asJson, "Write JSON.")->excludes(html);
  command->callback([options] { read(*options); });
}

void addAttachmentCommand(CLI::App& mail) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* command = mail.add_subcommand("attachment", "Fetch an attachment from the server and save it.");
  command->add_option("ID", options->id, "The mail's number.")->required();
  command->add_option("NUMBER", options->number, "The attachment's, from vesk mail read.")
      ->required()
      ->check(positive());
  command->add_option("FILE", options->file,
                      "Where to; - for standard output. Without it a file of its name in this folder, never over one "
                      "that is there.");
  command->callback([options] { saveAttachment(*options); });
}

}  // namespace

void addMailCommand(CLI::App& program) {
  CLI::App* mail = program.add_subcommand("mail", "Read mail.");
  mail->require_subcommand(1);
  addListCommand(*mail);
  addSearchMailCommand(*mail);
  addReadCommand(*mail);
  addAttachmentCommand(*mail);
}

}  // namespace vesk::app
