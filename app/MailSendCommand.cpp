// vesk mail send: hands a draft to the server, once the user has seen all of it.

#include <chrono>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/MailCommands.h"
#include "app/MailDraftText.h"
#include "app/MailLogin.h"
#include "app/MailLookup.h"
#include "app/Question.h"
#include "app/ShortID.h"
#include "app/Terminal.h"
#include "app/WaitingLine.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/mail/MailOutbox.h"
#include "core/mail/MailStore.h"
#include "core/mail/OutgoingMessage.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

struct Options {
  std::string id = {};
  bool yes = false;
  bool wasSent = false;
  bool wasNotSent = false;
};

void tell(const MailSent& sent, const MailDraft& draft) {
  switch (sent.state) {
    case MailSent::State::filed:
      return print("Sent to {}. The copy in your sent folder comes with the next vesk mail sync.\n",
                   safe(shownRecipients(draft)));
    case MailSent::State::notFiled:
      print("Sent to {}.\n", safe(shownRecipients(draft)));
      return fmt::print(stderr, "{} The next vesk mail sync tries again to file it.\n", safe(sent.problem));
    case MailSent::State::unknown:
      throw Error(
          fmt::format("{} Ask someone it went to, or look into your sent folder; then say vesk mail send {} "
                      "with --was-sent or --was-not-sent.",
                      sent.problem, shortID(draft.id)));
  }
}

// What was begun before.
void settle(MailOutbox& outbox, const OutboxMail& mail, const Options& options) {
  const std::string& id = mail.draft.id;
  if (options.wasNotSent) {
    outbox.settleAsNotSent(id);
    return print("It is a draft again.\n");
  }
  tell(options.wasSent ? outbox.settleAsSent(id) : outbox.settle(id), mail.draft);
}

// Throws what sending it would throw, before anybody is asked.
void requireSendable(const MailDraft& draft, const MailAccount& sender) {
  outgoingMessage(draft, sender, "<draft@localhost>", std::chrono::system_clock::now(), Calendar::ofSystem());
}

bool isToBeSent(const MailDraft& draft, const MailAccount& sender, bool yes) {
  print("{}\n", shownDraft(draft, sender, Terminal::ofStandardOutput()));
  if (yes) return true;
  if (!canAsk()) throw Error("Nothing was sent. Add --yes to send this mail as it is.");
  return isConfirmed("Send this mail? (y/n)");
}

void send(const Options& options) {
  const auto store = openMail();
  MailOutbox outbox(*store, environment::supportDirectory(), loggedInRoutes());
  const MailDraft draft = draftNamed(*store, options.id);
  if (const auto begun = store->outboxMail(draft.id)) return settle(outbox, *begun, options);
  if (options.wasSent || options.wasNotSent) throw Error("Nobody has begun to send this draft.");
  const MailAccount sender = accountWithID(*store, draft.accountID);
  requireSendable(draft, sender);
  if (!isToBeSent(draft, sender, options.yes)) return print("It stays a draft.\n");
  const auto sent = [&] {
    const WaitingLine waiting("Sending …");
    return outbox.send(draft, std::chrono::system_clock::now(), Calendar::ofSystem());
  }();
  tell(sent, draft);
}

}  // namespace

void addMailSendCommand(CLI::App& mail) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = mail.add_subcommand("send", "Show a draft and send it.");
  command->add_option("ID", options->id, "The beginning of its id, from vesk mail drafts.")->required();
  command->add_flag("--yes", options->yes, "Don't ask.");
  CLI::Option* was = command->add_flag("--was-sent", options->wasSent, "Of one that may be sent: it was.");
  command->add_flag("--was-not-sent", options->wasNotSent, "Of one that may be sent: it wasn't.")->excludes(was);
  command->callback([options] { send(*options); });
}

}  // namespace vesk::app
