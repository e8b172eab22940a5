// vesk mail sync: the mail that is stored, brought in step with the servers.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/MailCommands.h"
#include "app/MailDraftText.h"
#include "app/MailLogin.h"
#include "app/MailLookup.h"
#include "app/MailProgressBar.h"
#include "app/MailSyncLock.h"
#include "app/ShortID.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MailEngine.h"
#include "core/mail/MailOutbox.h"
#include "core/mail/MailStore.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

std::atomic<int> interrupts = 0;
static_assert(std::atomic<int>::is_always_lock_free);

// Some programs send a signal twice; only whoever has lost patience does so a third time.
void noteInterrupt(int number) {
  constexpr int lost = 3;
  if (++interrupts >= lost) ::_exit(128 + number);
}

// From its making on, what would end the program at once asks it to stop.
class StopOnSignals {
 public:
  StopOnSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      struct sigaction action = {};
      ::sigaction(number, nullptr, &action);
      if (action.sa_handler == SIG_IGN) continue;
      action = {};
      action.sa_handler = noteInterrupt;
      action.sa_flags = SA_RESTART;
      ::sigaction(number, &action, nullptr);
    }
  }

  std::stop_token token() const { return source_.get_token(); }
  bool isStopped() const { return source_.stop_requested(); }

 private:
  // A handler can hardly do more than count.
  void look(const std::stop_token& ended) {
    constexpr auto interval = std::chrono::milliseconds(50);
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any endedEarly;
    while (!ended.stop_requested() && !source_.stop_requested()) {
      if (interrupts > 0) source_.request_stop();
      endedEarly.wait_for(lock, ended, interval, [] { return false; });
    }
  }

  std::stop_source source_;
  std::jthread thread_{[this](const std::stop_token& ended) { look(ended); }};
};

// ---- What a sync did

// "12 new mails, 3 changed, 1 gone, 2 changes sent"
std::string summary(const MailSyncReport& report) {
  std::vector<std::string> parts;
  if (report.added > 0) parts.push_back(counted(report.added, "new mail"));
  if (report.updated > 0) parts.push_back(fmt::format("{} marked elsewhere", report.updated));
  if (report.removed > 0) parts.push_back(fmt::format("{} gone", report.removed));
  if (report.sent > 0) parts.push_back(counted(report.sent, "change") + " sent");
  return parts.empty() ? "nothing new" : text::join(parts, ", ");
}

// "marking a mail as read"
std::string nameOf(const MailChange& change) {
  switch (change.kind) {
    case MailChange::Kind::read: return change.isOn ? "marking a mail as read" : "marking a mail as unread";
    case MailChange::Kind::flagged: return change.isOn ? "flagging a mail" : "taking the flag off a mail";
    default: return "moving a mail";
  }
}

// What the user has to know beside the summary, a sentence each.
std::vector<std::string> remarks(const MailSyncReport& report, const MailAccount& account) {
  std::vector<std::string> all;
  for (const auto& [change, reason] : report.refused)
    all.push_back(fmt::format("{}: the server refused {}: {}", account.address, nameOf(change), reason));
  for (const FailedMailFolder& folder : report.failed)
    all.push_back(fmt::format("{}: the folder {} was passed over: {}", account.address, folder.name, folder.reason));
  return all;
}

void tell(const MailSyncReport& report, const MailAccount& account) {
  if (!report.failure) print("{}: {}.\n", safe(account.address), summary(report));
  flush();
  for (const std::string& remark : remarks(report, account)) fmt::print(stderr, "{}\n", safe(remark));
}

// ---- Once

// What the user has to know about a mail of the outbox; "" when all is done.
std::string outboxRemark(const MailSent& sent, const MailDraft& draft) {
  const std::string what = fmt::format("\"{}\" to {}", draft.subject, shownRecipients(draft));
  if (sent.state == MailSent::State::notFiled)
    return fmt::format("{} was sent, and isn't in your sent folder yet: {}", what, sent.problem);
  if (sent.state == MailSent::State::unknown)
    return fmt::format("{} may be sent: {} Settle that with vesk mail send {}.", what, sent.problem, shortID(draft.id));
  return "";
}

// An account, and its password.
struct Login {
  MailAccount account = {};
  WipedText password = {};

  WipedText passwordCopy() const {
    WipedText copy;
    copy.append(password.view());
    return copy;
  }
};

// Mail that was sent, and isn't known to be filed yet.
void settleOutbox(MailStore& store, const Login& login) {
  MailOutbox outbox(store, environment::supportDirectory(), loggedInRoutes(login.passwordCopy()));
  for (const OutboxMail& mail : outbox.unfinished()) {
    if (mail.draft.accountID != login.account.id) continue;
    const std::string problem = outboxRemark(outbox.settle(mail.draft.id), mail.draft);
    if (!problem.empty()) fmt::print(stderr, "{}\n", safe(problem));
  }
}

std::vector<Login> loginsTo(const std::vector<MailAccount>& accounts) {
  std::vector<Login> logins;
  for (const MailAccount& account : accounts)
    logins.push_back({account, accounts.size() == 1 ? passwordOf(account) : keptPasswordOf(account)});
  return logins;
}

MailEngine engineFor(MailStore& store, const Login& login) {
  return {store, login.account, login.passwordCopy(), connectorTo(login.account)};
}

// The sentence that tells why not all is in step; "" when it is.
std::string syncOnce(MailStore& store, const Login& login, const StopOnSignals& stop) {
  const MailAccount& account = login.account;
  MailProgressBar progress(Terminal::ofStandardOutput());
  const MailSyncReport report =
      engineFor(store, login).sync({.cancelled = stop.token(), .progress = [&](const MailProgress& now) {
                                      progress.show(now);
                                    }});
  progress.end();
  if (stop.isStopped()) return "";
  tell(report, account);
  if (report.failure) return explained(*report.failure, account, account.incoming);
  settleOutbox(store, login);
  return report.failed.empty() ? "" : fmt::format("Not all folders of {} are in step.", account.address);
}

void syncAll(MailStore& store, const std::vector<Login>& logins) {
  const StopOnSignals stop;
  std::vector<std::string> failures;
  for (const Login& login : logins) {
    const std::string failure = syncOnce(store, login, stop);
    if (stop.isStopped()) throw Error("Stopped. What was fetched stays, and the next sync goes on from there.");
    if (!failure.empty()) failures.push_back(failure);
  }
  if (!failures.empty()) throw Error(text::join(failures, "\n"));
}

// ---- Watching

// What the threads of a watch write, one after the other.
class WatchLog {
 public:
  void add(const MailSyncReport& report, const MailAccount& account) {
    const std::lock_guard lock(mutex_);
    tell(report, account);
    if (!report.failure) return;
    const std::string again =
        report.retry
            ? fmt::format("Vesk tries again in {}.", counted(static_cast<std::size_t>(report.retry->count()), "second"))
            : fmt::format("{} isn't watched any more.", account.address);
    fmt::print(stderr, "{} {}\n", safe(explained(*report.failure, account, account.incoming)), safe(again));
    if (!report.retry) ended_.push_back(account.address);
  }

  // The accounts that aren't watched any more.
  const std::vector<std::string>& ended() const { return ended_; }

 private:
  std::mutex mutex_;
  std::vector<std::string> ended_;
};

// Each account on a thread of its own.
void watchAll(MailStore& store, const std::vector<Login>& logins) {
  for (const Login& login : logins) settleOutbox(store, login);
  const StopOnSignals stop;
  WatchLog log;
  fmt::print(stderr, "Watching for mail until you press Ctrl-C.\n");
  {
    std::vector<std::jthread> threads;
    for (const Login& login : logins)
      threads.emplace_back([&] {
        engineFor(store, login).watch({.cancelled = stop.token()}, [&](const MailSyncReport& report) {
          if (!stop.isStopped()) log.add(report, login.account);
        });
      });
  }
  if (!log.ended().empty()) throw Error(fmt::format("Not watched to the end: {}.", text::join(log.ended(), ", ")));
}

struct Options {
  std::string account = {};
  bool watches = false;
};

void sync(const Options& options) {
  const auto store = openMail();
  auto accounts = store->accounts();
  if (!options.account.empty()) accounts = {accountNamed(*store, options.account)};
  if (accounts.empty()) throw Error("No account is connected. Do that with vesk mail add ADDRESS.");
  const FileLock alone = lockMailSync();
  options.watches ? watchAll(*store, loginsTo(accounts)) : syncAll(*store, loginsTo(accounts));
}

}  // namespace

void addMailSyncCommand(CLI::App& mail) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = mail.add_subcommand("sync", "Fetch mail, and tell the servers what you did to it.");
  command->add_option("ACCOUNT", options->account, "The address of one account; all of them unless given.");
  command->add_flag("--watch", options->watches, "Stay in step until you press Ctrl-C: mail is here when it comes.");
  command->callback([options] { sync(*options); });
}

}  // namespace vesk::app
