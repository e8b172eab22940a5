#pragma once

#include <optional>
#include <string>
#include <utility>

#include "core/base/Error.h"
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

// The store failed: nothing that is fetched can be kept. Not a MailError, so that it isn't taken for the server's no.
class StoreFailure : public Error {
 public:
  explicit StoreFailure(const MailError& cause) : Error(cause.what()), cause_(cause) {}
  const MailError& cause() const { return cause_; }

 private:
  MailError cause_;
};

// Does what concerns the store.
template <typename Work>
decltype(auto) inStore(const Work& work) {
  try {
    return work();
  } catch (const MailError& error) {
    throw StoreFailure(error);
  }
}

// Asks the server for something. Its no is returned, and whatever else goes wrong is thrown: the connection is lost.
template <typename Request>
std::optional<MailError> refusalOf(const IMAPClient& client, const Request& request) {
  try {
    request();
    return std::nullopt;
  } catch (const MailError& error) {
    if (!client.isOpen()) throw;
    return error;
  }
}

}  // namespace vesk
