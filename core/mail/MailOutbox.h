#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailStore.h"
#include "core/mail/SMTPClient.h"
#include "core/platform/FileLock.h"

namespace vesk {

// How an account's servers are reached: each gives a client that is logged in, and throws Error where there is none.
struct MailRoutes {
  std::function<std::unique_ptr<SMTPClient>(const MailAccount&)> submission = {};
  std::function<std::unique_ptr<IMAPClient>(const MailAccount&)> mailbox = {};
};

// What became of a mail.
struct MailSent {
  enum class State {
    filed,     // sent, and in the folder of sent mail: all is done
    notFiled,  // sent; the copy for that folder waits in the outbox
    unknown,   // may be sent, or not: the user is asked
  };
  State state = State::unknown;
  std::string problem = {};  // why it isn't filed or known; a sentence
  bool operator==(const MailSent&) const = default;
};

// Sends drafts, each at most once, whatever is killed or breaks in between.
//
// Right before the line that ends a mail, and by which the server takes it, the mail is noted in the store's outbox,
// and noted as sent once the server said so. What is noted can't be sent again. It is looked up by its Message-ID in
// the folder of sent mail, put there where that is missing, and then goes from the outbox, with its draft. When nobody
// knows whether it was sent, it is the user who decides.
//
// Only one process at a time sends and files.
class MailOutbox {
 public:
  // `directory` is that of the store.
  MailOutbox(MailStore& store, std::string directory, MailRoutes routes);

  // Sends the draft that the user was shown, unless the one that is stored says something else by then. What keeps it
  // from being sent is thrown as an Error, and the stored draft stays as it is.
  MailSent send(const MailDraft& shown, Timestamp now, const Calendar& calendar);

  // What was begun by now and isn't done, the oldest first.
  std::vector<OutboxMail> unfinished() const { return store_.outbox(); }

  // Finds out what became of it, and files it when it was sent. Failures are told in `problem`.
  MailSent settle(std::string_view id);

  // By the user's word. That a mail was sent has it filed; that it wasn't makes it a draft again.
  MailSent settleAsSent(std::string_view id);
  void settleAsNotSent(std::string_view id);

 private:
  MailAccount accountOf(const MailDraft& draft) const;
  void submit(const MailAccount& account, const OutboxMail& mail, const OutgoingMessage& message);
  MailSent file(const OutboxMail& mail);
  void takeBack(std::string_view id);
  void markSent(std::string_view id);
  FileLock lock() const;

  MailStore& store_;
  const std::string directory_;
  const MailRoutes routes_;
};

}  // namespace vesk
