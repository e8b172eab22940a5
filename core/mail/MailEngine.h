#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

#include "core/mail/IMAPLimits.h"
#include "core/mail/MailConnection.h"
#include "core/mail/MailStore.h"
#include "core/mail/MailSync.h"
#include "core/mail/MailTypes.h"
#include "core/mail/WipedText.h"

namespace vesk {

// How long watch() waits.
struct MailWatchTimes {
  std::chrono::milliseconds everything =
      std::chrono::minutes(10);                                    // between two syncs of all folders; under 29 minutes
  std::chrono::milliseconds queue = std::chrono::seconds(1);       // between two looks for changes to be sent
  std::chrono::milliseconds firstPause = std::chrono::seconds(1);  // after a lost connection; doubled every time
  std::chrono::milliseconds longestPause = std::chrono::minutes(5);
};

// Opens a connection to the server of an account's incoming mail, whose calls the token ends. Throws MailError.
using MailConnector = std::function<std::unique_ptr<MailConnection>(const std::stop_token& cancelled)>;

// Keeps what is stored of an account's mail in step with its server (docs/mail-sync.md).
//
// Sends the changes that are queued, saves the folders, and then, folder by folder with the inbox first, fetches what
// is missing with the newest first, takes over the flags, and removes what the server has no more. It may end at any
// moment, and the next one goes on from there: no message is stored twice, and none is left out.
//
// One thread at a time uses an engine, and one engine at a time an account.
class MailEngine {
 public:
  // The store has to outlive it.
  MailEngine(MailStore& store, MailAccount account, WipedText password, MailConnector connect,
             const IMAPLimits& limits = {});

  // Brings everything in step once, over a connection of its own. A change that the server refuses is reported and
  // dropped, a folder that fails is reported and passed over; what ends the sync is in the report as well. Never throws
  // MailError.
  MailSyncReport sync(const MailSyncOptions& options = {});

  // Stays in step until it is cancelled: syncs whenever something happens in the inbox or a change is queued, and all
  // folders now and then. Connects anew when the connection is lost, after ever longer pauses. `synced` is given every
  // report in which something happened, the first one, and every failure. Returns when it is cancelled, and when the
  // server doesn't take the password or isn't to be trusted with it: at once, or, where it did before, in the end.
  void watch(const MailSyncOptions& options, const std::function<void(const MailSyncReport&)>& synced,
             const MailWatchTimes& times = {});

 private:
  class Connection;
  class Patience;
  void stayConnected(const MailSyncOptions& options, const std::function<void(const MailSyncReport&)>& synced,
                     const MailWatchTimes& times, Patience& patience, MailSyncReport& report);

  MailStore& store_;
  MailAccount account_;
  WipedText password_;
  MailConnector connect_;
  IMAPLimits limits_;
};

}  // namespace vesk
