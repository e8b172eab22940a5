#include "core/mail/MailOutbox.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include "core/base/Error.h"
#include "core/mail/MailError.h"
#include "core/mail/MailPresets.h"
#include "core/mail/MessageID.h"
#include "core/mail/OutgoingMessage.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"

namespace vesk {

namespace {

using State = MailSent::State;

OutboxMail requireMail(const MailStore& store, std::string_view id) {
  auto mail = store.outboxMail(id);
  if (!mail) throw Error("No mail of that id is on its way.");
  return *std::move(mail);
}

// Made where there is none, as on new accounts of some servers.
std::string sentFolderOf(IMAPClient& mailbox) {
  for (const IMAPFolder& folder : mailbox.folders())
    if (folder.role == MailFolderRole::sent) return folder.path;
  constexpr std::string_view usualName = "Sent";
  mailbox.create(usualName);
  return std::string(usualName);
}

}  // namespace

MailOutbox::MailOutbox(MailStore& store, std::string directory, MailRoutes routes)
    : store_(store), directory_(std::move(directory)), routes_(std::move(routes)) {}

MailSent MailOutbox::send(const MailDraft& shown, Timestamp now, const Calendar& calendar) {
  const FileLock held = lock();
  if (store_.outboxMail(shown.id))
    throw Error("This draft is on its way already, and may have been sent. Settle that before it is sent again.");
  const MailAccount account = accountOf(shown);
  const OutgoingMessage message = outgoingMessage(shown, account, newMessageID(account.address), now, calendar);
  OutboxMail mail{.draft = shown, .messageID = message.messageID, .text = message.text, .begun = now};
  try {
    submit(account, mail, message);
  } catch (const MaybeSentError& error) {
    return {State::unknown, error.what()};
  }
  mail.isSent = true;
  return file(mail);
}

// Only what is noted in the outbox at its end is sent; what the server doesn't take then is a draft again.
void MailOutbox::submit(const MailAccount& account, const OutboxMail& mail, const OutgoingMessage& message) {
  const std::unique_ptr<SMTPClient> server = routes_.submission(account);
  bool isNoted = false;
  const auto note = [&] {
    isNoted = store_.begin(mail);
    if (!isNoted) throw Error("The draft was changed meanwhile, so it wasn't sent. Look at it, and send it again.");
  };
  try {
    server->send(message, note);
  } catch (const MaybeSentError&) {
    throw;
  } catch (...) {
    if (isNoted) takeBack(mail.draft.id);
    throw;
  }
  server->close();
}

// These two go on where the store fails: the mail is then found in the folder of sent mail, or the user is asked.

void MailOutbox::takeBack(std::string_view id) {
  try {
    store_.takeBack(id);
  } catch (const MailError&) {
    // Why the mail wasn't sent is what counts.
  }
}

void MailOutbox::markSent(std::string_view id) {
  try {
    store_.markSent(id);
  } catch (const MailError&) {
    // It is sent all the same.
  }
}

// Where it fails the mail stays in the outbox, at worst as one that may have been sent.
MailSent MailOutbox::file(const OutboxMail& mail) {
  try {
    if (mail.isSent) markSent(mail.draft.id);
    const MailAccount account = accountOf(mail.draft);
    if (!mail.isSent || !mailPresets::filesSentMail(account.outgoing)) {
      const std::unique_ptr<IMAPClient> mailbox = routes_.mailbox(account);
      const std::string folder = sentFolderOf(*mailbox);
      mailbox->select(folder, true);
      const bool isThere = !mailbox->uids(mail.messageID).empty();
      if (!isThere && !mail.isSent) return {State::unknown, "The mail isn't in the folder of sent mail."};
      if (!isThere) mailbox->append(mail.text, folder, {"\\Seen"});
      mailbox->close();
    }
    store_.finish(mail.draft.id);
    return {State::filed, ""};
  } catch (const Error& error) {
    return {mail.isSent ? State::notFiled : State::unknown, error.what()};
  }
}

MailSent MailOutbox::settle(std::string_view id) {
  const FileLock held = lock();
  return file(requireMail(store_, id));
}

MailSent MailOutbox::settleAsSent(std::string_view id) {
  const FileLock held = lock();
  OutboxMail mail = requireMail(store_, id);
  mail.isSent = true;
  return file(mail);
}

void MailOutbox::settleAsNotSent(std::string_view id) {
  const FileLock held = lock();
  if (requireMail(store_, id).isSent) throw Error("The mail server took this mail. It was sent.");
  store_.takeBack(id);
}

MailAccount MailOutbox::accountOf(const MailDraft& draft) const {
  for (MailAccount& account : store_.accounts())
    if (account.id == draft.accountID) return std::move(account);
  throw Error("The account that this mail is written from isn't connected any more.");
}

FileLock MailOutbox::lock() const {
  try {
    return FileLock::onFile(directory_ + "/mail/outbox.lock");
  } catch (const FileError& error) {
    if (error.code() != EWOULDBLOCK) throw;
    throw Error("Mail is being sent by another Vesk at the moment. Try again when that is done.");
  }
}

}  // namespace vesk
