#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "core/base/Time.h"
#include "core/mail/MailError.h"
#include "core/mail/MailTypes.h"

namespace vesk {

// How far the fetching of a folder is.
struct MailProgress {
  std::string folder = {};  // its name, as people read it
  std::size_t done = 0;     // messages stored, of those that were missing
  std::size_t total = 0;
};

// A change that won't be sent again: the server doesn't make it.
struct RefusedMailChange {
  MailChange change = {};
  std::string reason = {};  // a sentence
};

// A folder that couldn't be brought in step, or not all of it.
struct FailedMailFolder {
  std::string path = {};
  std::string name = {};
  std::string reason = {};  // a sentence
};

// What a sync did.
struct MailSyncReport {
  std::size_t added = 0;    // messages that came
  std::size_t removed = 0;  // messages that the server has no more
  std::size_t updated = 0;  // messages that were read or flagged elsewhere
  std::size_t sent = 0;     // changes that the server made
  std::vector<RefusedMailChange> refused = {};
  std::vector<FailedMailFolder> failed = {};
  std::optional<MailError> failure = {};           // what ended it early, such as a lost connection or a wrong password
  std::optional<std::chrono::seconds> retry = {};  // after that, when MailEngine::watch will connect anew
};

struct MailSyncOptions {
  // Messages that came before that day aren't fetched.
  std::optional<Day> since = {};
  // Ends the sync with MailError::closed as its failure; what is stored by then stays.
  std::stop_token cancelled = {};
  // Called on the thread that syncs, for each folder with missing messages at first and whenever more are stored.
  std::function<void(const MailProgress&)> progress = {};
};

}  // namespace vesk
