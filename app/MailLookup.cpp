#include "app/MailLookup.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "app/ShortID.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

std::string addressesOf(const std::vector<MailAccount>& accounts) {
  std::vector<std::string> addresses;
  for (const MailAccount& account : accounts) addresses.push_back(account.address);
  return text::join(addresses, ", ");
}

}  // namespace

std::unique_ptr<MailStore> openMail() {
  auto store = MailStore::openIfThere(environment::supportDirectory());
  if (!store) throw Error("There is no mail yet. Connect an account with vesk mail add ADDRESS.");
  return store;
}

void tellSkipped(const MailStore& store) {
  if (const std::size_t count = store.skipped())
    fmt::print(stderr, "{} of the mail database can't be read and left out.\n", counted(count, "value"));
}

MailAccount accountNamed(const MailStore& store, std::string_view address) {
  const auto accounts = store.accounts();
  for (const MailAccount& account : accounts)
    if (text::equalIgnoringCase(account.address, address)) return account;
  if (accounts.empty()) throw Error("No account is connected. Do that with vesk mail add ADDRESS.");
  throw Error(fmt::format("No connected account is {}. There is {}.", address, addressesOf(accounts)));
}

MailAccount senderNamed(const MailStore& store, std::string_view address) {
  if (!address.empty()) return accountNamed(store, address);
  const auto accounts = store.accounts();
  if (accounts.empty()) throw Error("No account is connected. Do that with vesk mail add ADDRESS.");
  if (accounts.size() > 1) throw Error(fmt::format("Say from which account with --from: {}.", addressesOf(accounts)));
  return accounts.front();
}

MailAccount accountWithID(const MailStore& store, std::string_view id) {
  const auto accounts = store.accounts();
  const auto account = std::ranges::find(accounts, id, &MailAccount::id);
  if (account == accounts.end())
    throw Error("The account of this mail isn't connected any more. Connect it with vesk mail add ADDRESS.");
  return *account;
}

std::vector<MailDraft> allDrafts(const MailStore& store) {
  std::vector<MailDraft> drafts = store.drafts();
  for (const OutboxMail& mail : store.outbox())
    if (std::ranges::find(drafts, mail.draft.id, &MailDraft::id) == drafts.end()) drafts.push_back(mail.draft);
  return drafts;
}

MailDraft draftNamed(const MailStore& store, std::string_view typed) {
  const auto drafts = allDrafts(store);
  if (drafts.empty()) throw Error("There is no draft. Write one with vesk mail draft.");
  return itemWithID(drafts, typed);
}

MailDetail mailNumbered(const MailStore& store, std::int64_t id) {
  auto mail = store.message(id);
  if (!mail) throw Error(fmt::format("There is no mail {}. Find it with vesk mail list or vesk mail search.", id));
  return std::move(*mail);
}

MailFolder folderNamed(const MailStore& store, const MailAccount& account, std::string_view typed) {
  MailQuery query{.accountID = account.id};
  const bool isKnown = store.narrow(query, typed);
  const auto folders = store.folderNames();
  std::vector<std::string> names;
  for (const MailFolder& folder : folders) {
    if (folder.accountID != account.id) continue;
    if (isKnown && (query.role ? folder.role == *query.role : folder.path == *query.folder)) return folder;
    names.push_back(folder.name);
  }
  if (names.empty())
    throw Error(fmt::format("The folders of {} aren't known yet. Fetch them with vesk mail sync.", account.address));
  throw Error(fmt::format("{} has no folder {}. It has {}.", account.address, typed, text::join(names, ", ")));
}

}  // namespace vesk::app
