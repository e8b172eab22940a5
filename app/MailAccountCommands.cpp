// vesk mail add, accounts and remove: the accounts whose mail Vesk has.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/MailCommands.h"
#include "app/MailLogin.h"
#include "app/MailLookup.h"
#include "app/MailServers.h"
#include "app/MailSyncLock.h"
#include "app/Question.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Uuid.h"
#include "core/mail/MIME.h"
#include "core/mail/MailPresets.h"
#include "core/mail/MailStore.h"
#include "core/mail/Recipients.h"
#include "core/mail/network/MailPasswords.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

struct AddOptions {
  std::string address = {};
  std::optional<std::string> name = {};
  std::string imap = {};
  std::string smtp = {};
  std::string user = {};
  std::string security = {};
  bool passwordFromInput = false;
};

// ---- Finding the servers

// What is known of the account, and the servers to be tried.
struct Plan {
  MailAccount account = {};
  MailServers incoming = {};
  MailServers outgoing = {};
  std::string hint = {};  // what password to give
  bool isGuess = false;
};

Plan planFor(const AddOptions& options, const std::optional<MailAccount>& connected) {
  Plan plan{.account = connected.value_or(MailAccount{.id = newUuid(), .address = options.address})};
  const auto preset = mailPresets::of(options.address);
  if (preset) plan.hint = preset->passwordHint;
  if (!options.imap.empty())
    plan.incoming = serversNamed(options.imap, options.security, imapPorts);
  else if (connected)
    plan.incoming = {connected->incoming};
  else
    plan.incoming = preset ? MailServers{preset->incoming} : mailPresets::likelyIncoming(options.address);
  if (!options.smtp.empty())
    plan.outgoing = serversNamed(options.smtp, options.security, smtpPorts);
  else if (connected)
    plan.outgoing = {connected->outgoing};
  else
    plan.outgoing = preset ? MailServers{preset->outgoing} : mailPresets::likelyOutgoing(options.address);
  plan.isGuess = !connected && !preset && (options.imap.empty() || options.smtp.empty());
  if (!options.user.empty())
    plan.account.user = options.user;
  else if (!connected)
    plan.account.user = preset && !preset->user.empty() ? preset->user : options.address;
  return plan;
}

void findServers(Plan& plan, std::string_view password) {
  try {
    print("Servers for reading mail:\n");
    plan.account.incoming = firstThatWorks(plan.incoming, plan.account, [&](const MailServer& server) {
      plan.account.incoming = server;
      logInToIncoming(plan.account, password)->close();
    });
    print("Servers for sending mail:\n");
    plan.account.outgoing = firstThatWorks(plan.outgoing, plan.account, [&](const MailServer& server) {
      plan.account.outgoing = server;
      logInToOutgoing(plan.account, password)->close();
    });
  } catch (const Error& error) {
    std::string advice = plan.hint.empty() ? "" : " " + plan.hint;
    if (plan.isGuess)
      advice +=
          " If your provider names other servers, give them with --imap and --smtp, and another name for logging "
          "in with --user.";
    throw Error(fmt::format("{}{} Nothing was saved.", error.what(), advice));
  }
}

// ---- add

WipedText passwordFromInput() {
  std::string line;
  constexpr std::size_t longest = 4096;
  for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
    if (line.size() == longest) throw Error("The password is too long.");
    line += static_cast<char>(c);
  }
  if (line.ends_with('\r')) line.pop_back();
  return wiped(std::move(line));
}

WipedText newPassword(const Plan& plan, bool fromInput) {
  if (fromInput) return passwordFromInput();
  if (!canAsk())
    throw Error("The password is needed: run this in a terminal, or give it as the input with --password-stdin.");
  if (!plan.hint.empty()) print("{}\n", plan.hint);
  return wiped(askSecret(fmt::format("Password of {}:", safe(plan.account.address))).value_or(""));
}

void takeName(MailAccount& account, const AddOptions& options) {
  auto name = options.name;
  if (!name && account.name.empty() && canAsk() && !options.passwordFromInput)
    name = ask("Your name, as those you write to see it:");
  if (name) account.name = MIME::visibleLine(*name);
  if (recipients::isAnotherAddress(account.name, account.address))
    throw Error(
        fmt::format("{} is another address than {}. Give your name with --name.", account.name, account.address));
}

std::optional<MailAccount> connectedAs(std::string_view address) {
  const auto store = MailStore::openIfThere(environment::supportDirectory());
  if (!store) return std::nullopt;
  for (MailAccount& account : store->accounts())
    if (text::equalIgnoringCase(account.address, address)) return std::move(account);
  return std::nullopt;
}

// The password first: an account without one would be of no use.
void save(const MailAccount& account, std::string_view password) {
  const std::string directory = environment::supportDirectory();
  MailStore store(directory);
  const auto place = mailPasswords::save(directory, account, password);
  store.save(account);
  if (place == mailPasswords::Place::secretService)
    print("Connected {}. The password is in your desktop's secret service.\n", safe(account.address));
  else
    print("Connected {}. The password is in {}, which only you can read: there is no secret service here.\n",
          safe(account.address), safe(mailPasswords::filePath(directory)));
  print("Fetch the mail with vesk mail sync.\n");
}

void add(const AddOptions& options) {
  if (!recipients::isAddress(options.address))
    throw Error(fmt::format("\"{}\" isn't an email address.", options.address));
  const auto connected = connectedAs(options.address);
  Plan plan = planFor(options, connected);
  if (connected) print("{} is connected already; its password is renewed.\n", safe(options.address));
  takeName(plan.account, options);
  const WipedText password = newPassword(plan, options.passwordFromInput);
  if (password.view().empty()) throw Error("Without a password nothing can be connected.");
  findServers(plan, password.view());
  save(plan.account, password.view());
}

// ---- accounts

Json toJson(const MailServer& server) {
  return Json::Object{
      {"host", server.host}, {"port", static_cast<int>(server.port)}, {"security", std::string(name(server.security))}};
}

void listAccounts(bool asJson) {
  const auto store = MailStore::openIfThere(environment::supportDirectory());
  const auto accounts = store ? store->accounts() : std::vector<MailAccount>();
  if (asJson) {
    Json::Array entries;
    for (const MailAccount& account : accounts)
      entries.push_back(Json::Object{{"address", account.address},
                                     {"name", account.name},
                                     {"user", account.user},
                                     {"incoming", toJson(account.incoming)},
                                     {"outgoing", toJson(account.outgoing)}});
    return print("{}\n", Json(Json::Object{{"accounts", std::move(entries)}}).pretty());
  }
  if (accounts.empty()) fmt::print(stderr, "No account is connected. Do that with vesk mail add ADDRESS.\n");
  constexpr std::size_t name = 1;
  Table table(name);
  for (const MailAccount& account : accounts)
    table.add({{account.address, Style::strong},
               {account.name},
               {hostAndPort(account.incoming), Style::faint},
               {hostAndPort(account.outgoing), Style::faint}});
  print("{}", table.text(Terminal::ofStandardOutput()));
}

// ---- remove

// What goes with an account, and is nowhere else: "1 draft, 2 changes that the server doesn't know"
std::string onlyHere(const MailStore& store, const MailAccount& account) {
  std::vector<std::string> things;
  const auto isOurs = [&](const MailDraft& draft) { return draft.accountID == account.id; };
  if (const auto count = std::ranges::count_if(store.drafts(), isOurs))
    things.push_back(counted(static_cast<std::size_t>(count), "draft"));
  if (const auto count = std::ranges::count_if(store.outbox(), isOurs, &OutboxMail::draft))
    things.push_back(counted(static_cast<std::size_t>(count), "mail") + " of the outbox");
  if (const std::size_t count = store.pendingChanges(account.id).size())
    things.push_back(counted(count, "change") + " that the server isn't told yet");
  return text::join(things, ", ");
}

void removeAccount(const std::string& address, bool yes) {
  const auto store = openMail();
  const MailAccount account = accountNamed(*store, address);
  const FileLock alone = lockMailSync();
  const std::string lost = onlyHere(*store, account);
  const std::string what =
      fmt::format("Here, {} goes with its password and {}; on the server, everything stays.{}", safe(account.address),
                  counted(store->count({.accountID = account.id}), "stored mail"),
                  lost.empty() ? "" : fmt::format(" These are nowhere else: {}.", lost));
  if (!yes && !canAsk()) throw Error(fmt::format("{} Add --yes if that is what you want.", what));
  if (!yes && !isConfirmed(fmt::format("{}\nRemove it? (y/n)", what))) return print("Nothing was removed.\n");
  const bool hadPassword = mailPasswords::remove(environment::supportDirectory(), account.id);
  store->remove(account.id);
  print("Removed {}.{}\n", safe(account.address),
        hadPassword ? "" : " No password of it was found; if it is in a secret service, remove it there.");
}

// ---- The commands

void addAddMailCommand(CLI::App& mail) {
  const auto options = std::make_shared<AddOptions>();
  CLI::App* command = mail.add_subcommand("add", "Connect an account, or give its password anew.");
  command->add_option("ADDRESS", options->address, "For example: vesk mail add ana@example.org")->required();
  command->add_option("--name", options->name, "Your name, as those you write to see it.")->type_name("NAME");
  command->add_option("--imap", options->imap, "The server for reading mail: HOST or HOST:PORT.")->type_name("HOST");
  command->add_option("--smtp", options->smtp, "The server for sending mail: HOST or HOST:PORT.")->type_name("HOST");
  command->add_option("--user", options->user, "What the servers know you by; your address unless given.")
      ->type_name("NAME");
  command
      ->add_option("--security", options->security,
                   "How the servers given encrypt: tls, starttls, or none for this very machine. Both are tried unless "
                   "given.")
      ->check(CLI::IsMember({"tls", "starttls", "none"}, CLI::ignore_case));
  command->add_flag("--password-stdin", options->passwordFromInput, "Take the password from the input's first line.");
  command->callback([options] { add(*options); });
}

void addAccountsCommand(CLI::App& mail) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = mail.add_subcommand("accounts", "List the connected accounts.");
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([asJson] { listAccounts(*asJson); });
}

void addRemoveCommand(CLI::App& mail) {
  const auto address = std::make_shared<std::string>();
  const auto yes = std::make_shared<bool>(false);
  CLI::App* command = mail.add_subcommand("remove", "Disconnect an account; on the server, everything stays.");
  command->add_option("ADDRESS", *address, "Its address.")->required();
  command->add_flag("--yes", *yes, "Don't ask.");
  command->callback([address, yes] { removeAccount(*address, *yes); });
}

}  // namespace

void addMailAccountCommands(CLI::App& mail) {
  addAddMailCommand(mail);
  addAccountsCommand(mail);
  addRemoveCommand(mail);
}

}  // namespace vesk::app
