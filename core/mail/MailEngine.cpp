#include "core/mail/MailEngine.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/mail/FolderSync.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/PendingChanges.h"
#include "core/mail/SyncSession.h"

namespace vesk {

namespace {

using Clock = std::chrono::steady_clock;
using Role = MailFolderRole;

constexpr std::chrono::milliseconds shortestRound(100);  // a server that always has news is asked no oftener
constexpr int deniedLogins = 3;  // in a row, after one that was accepted: a server in trouble says no as well

// What people look for first comes first.
constexpr std::array syncOrder = {Role::inbox, Role::sent,  Role::drafts, Role::archive,
                                  Role::other, Role::trash, Role::spam};

bool isNews(const MailSyncReport& report) {
  return report.added + report.removed + report.updated + report.sent > 0 || !report.refused.empty() ||
         !report.failed.empty() || report.failure;
}

void waitFor(std::chrono::milliseconds time, const std::stop_token& cancelled) {
  std::mutex mutex;
  std::condition_variable_any woken;
  std::unique_lock lock(mutex);
  woken.wait_for(lock, cancelled, time, [] { return false; });
}

}  // namespace

// One connection to the server.
class MailEngine::Connection {
 public:
  Connection(MailEngine& engine, const MailSyncOptions& options, MailSyncReport& report)
      : client_(engine.connect_(options.cancelled), engine.limits_),
        session_{client_, engine.store_, engine.account_.id, engine.limits_, options, report} {
    const MailAccount& account = engine.account_;
    client_.start(account.user.empty() ? account.address : account.user, engine.password_.view(),
                  account.incoming.security);
  }

  void syncEverything() {
    saveFolders();
    sendPendingChanges(session_);
    for (const IMAPFolder& folder : folders_) syncFolder(session_, folder);
  }

  // The inbox, which is selected in the end, and the folders that the changes which are queued concern.
  void syncInbox() {
    const std::set<std::string> targets = sendPendingChanges(session_);
    for (const IMAPFolder& folder : folders_)
      if (folder.role != Role::inbox && targets.contains(folder.path)) syncFolder(session_, folder);
    if (!folders_.empty()) syncFolder(session_, folders_.front());
  }

  // Until something happens in the inbox, or a change is queued.
  void wait(Clock::duration time, std::chrono::milliseconds queueTime) {
    if (client_.hasNews()) return;
    const auto isQueued = [&] {
      if (session_.options.cancelled.stop_requested()) return true;
      return !session_.store.pendingChanges(session_.accountID).empty();
    };
    client_.idle(std::chrono::ceil<std::chrono::milliseconds>(time), {isQueued, queueTime});
  }

  void close() { client_.close(); }

 private:
  void saveFolders() {
    folders_ = client_.folders();
    // Each account has an inbox: a list without any folder is a mistake, by which all mail would go.
    if (folders_.empty()) throw MailError::refused("it lists no folders.");
    std::ranges::stable_sort(folders_, {}, [](const IMAPFolder& folder) {
      return std::ranges::find(syncOrder, folder.role) - syncOrder.begin();
    });
    session_.store.saveFolders(folders_, session_.accountID);
  }

  IMAPClient client_;
  SyncSession session_;
  std::vector<IMAPFolder> folders_;
};

MailEngine::MailEngine(MailStore& store, MailAccount account, WipedText password, MailConnector connect,
                       const IMAPLimits& limits)
    : store_(store),
      account_(std::move(account)),
      password_(std::move(password)),
      connect_(std::move(connect)),
      limits_(limits) {}

namespace {

// What ends a sync is a part of its report.
template <typename Work>
void noting(MailSyncReport& report, const Work& work) {
  try {
    work();
  } catch (const MailError& error) {
    report.failure = error;
  }
}

}  // namespace

MailSyncReport MailEngine::sync(const MailSyncOptions& options) {
  MailSyncReport report;
  noting(report, [&] {
    Connection connection(*this, options, report);
    connection.syncEverything();
    connection.close();
  });
  return report;
}

// How long to go on with a server that fails.
class MailEngine::Patience {
 public:
  explicit Patience(const MailWatchTimes& times) : times_(times) {}

  void renew() {
    wasInStep_ = true;
    denials_ = 0;
    pause_ = times_.firstPause;
  }

  // Nullopt when it makes no sense to try again.
  std::optional<std::chrono::milliseconds> next(const MailError& failure) {
    using Failure = MailError::Kind;
    const bool isDenied = failure.kind() == Failure::wrongPassword;
    denials_ = isDenied ? denials_ + 1 : 0;
    if ((isDenied || failure.kind() == Failure::insecureServer) && !wasInStep_) return std::nullopt;
    if (denials_ == deniedLogins) return std::nullopt;
    return std::exchange(pause_, std::min(2 * pause_, times_.longestPause));
  }

 private:
  const MailWatchTimes& times_;
  std::chrono::milliseconds pause_ = times_.firstPause;
  bool wasInStep_ = false;
  int denials_ = 0;
};

void MailEngine::watch(const MailSyncOptions& options, const std::function<void(const MailSyncReport&)>& synced,
                       const MailWatchTimes& times) {
  Patience patience(times);
  while (!options.cancelled.stop_requested()) {
    MailSyncReport report;
    noting(report, [&] { stayConnected(options, synced, times, patience, report); });
    if (options.cancelled.stop_requested()) report.failure.reset();
    if (!report.failure) {
      if (isNews(report)) synced(report);
      return;
    }
    const auto pause = patience.next(*report.failure);
    if (pause) report.retry = std::chrono::ceil<std::chrono::seconds>(*pause);
    synced(report);
    if (!pause) return;
    waitFor(*pause, options.cancelled);
  }
}

void MailEngine::stayConnected(const MailSyncOptions& options, const std::function<void(const MailSyncReport&)>& synced,
                               const MailWatchTimes& times, Patience& patience, MailSyncReport& report) {
  Connection connection(*this, options, report);
  Clock::time_point due = Clock::now();
  bool isFirst = true;
  while (!options.cancelled.stop_requested()) {
    if (Clock::now() >= due) {
      connection.syncEverything();
      due = Clock::now() + times.everything;
    }
    connection.syncInbox();
    patience.renew();
    if (std::exchange(isFirst, false) || isNews(report)) synced(std::exchange(report, {}));
    waitFor(shortestRound, options.cancelled);
    connection.wait(due - Clock::now(), times.queue);
  }
  connection.close();
}

}  // namespace vesk
