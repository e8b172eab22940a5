#pragma once

#include <optional>
#include <string>

#include "core/mail/IMAPClient.h"
#include "core/mail/MailError.h"
#include "core/mail/MailStore.h"
#include "core/mail/MailSync.h"

namespace vesk {

// What every step of a sync works with.
struct SyncSession {
  IMAPClient& client;  // logged in
  MailStore& store;
  const std::string& accountID;
  const IMAPLimits& limits;
  const MailSyncOptions& options;
  MailSyncReport& report;
};

// Asks the server for something. Its no is returned, and whatever else goes wrong is thrown: the connection is lost, or
// nothing can be stored.
template <typename Request>
std::optional<MailError> refusalOf(const IMAPClient& client, const Request& request) {
  try {
    request();
    return std::nullopt;
  } catch (const MailError& error) {
    if (!client.isOpen() || error.isOfDatabase()) throw;
    return error;
  }
}

}  // namespace vesk
