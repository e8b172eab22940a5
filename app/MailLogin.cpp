#include "app/MailLogin.h"

#include <map>
#include <optional>
#include <string.h>
#include <utility>

#include <fmt/format.h>

#include "app/Question.h"
#include "app/Terminal.h"
#include "core/mail/network/MailPasswords.h"
#include "core/mail/network/MailStream.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

const std::string& userOf(const MailAccount& account) { return account.user.empty() ? account.address : account.user; }

// Does something with a server; what goes wrong with it is explained.
template <typename Work>
auto explaining(const MailAccount& account, const MailServer& server, const Work& work) {
  try {
    return work();
  } catch (const MailError& error) {
    throw Error(explained(error, account, server));
  }
}

// `known` gives the password of an account.
template <typename Known>
MailRoutes routesWith(const Known& known) {
  return {.submission =
              [known](const MailAccount& account) {
                return explaining(account, account.outgoing, [&] { return logInToOutgoing(account, known(account)); });
              },
          .mailbox =
              [known](const MailAccount& account) {
                return explaining(account, account.incoming, [&] { return logInToIncoming(account, known(account)); });
              }};
}

}  // namespace

WipedText wiped(std::string text) {
  WipedText copy;
  copy.append(text);
  ::explicit_bzero(text.data(), text.size());
  return copy;
}

WipedText passwordOf(const MailAccount& account) {
  if (auto given = environment::value("VESK_MAIL_PASSWORD")) return wiped(std::move(*given));
  return keptPasswordOf(account);
}

WipedText keptPasswordOf(const MailAccount& account) {
  if (auto kept = mailPasswords::find(environment::supportDirectory(), account.id)) return std::move(*kept);
  if (!canAsk())
    throw Error(
        fmt::format("There is no password of {0} here, or your desktop's keyring is locked: unlock that, give the "
                    "password with vesk mail add {0}, or set VESK_MAIL_PASSWORD.",
                    account.address));
  auto typed = askSecret(fmt::format("Password of {}:", safe(account.address)));
  if (!typed || typed->empty()) throw Error("Without the password nothing was done.");
  return wiped(std::move(*typed));
}

std::unique_ptr<IMAPClient> logInToIncoming(const MailAccount& account, std::string_view password) {
  auto client = std::make_unique<IMAPClient>(MailStream::open(account.incoming));
  client->start(userOf(account), password, account.incoming.security);
  return client;
}

std::unique_ptr<SMTPClient> logInToOutgoing(const MailAccount& account, std::string_view password) {
  auto client = std::make_unique<SMTPClient>(MailStream::open(account.outgoing));
  client->start(userOf(account), password, account.outgoing.security);
  return client;
}

MailConnector connectorTo(const MailAccount& account) {
  return [server = account.incoming](const std::stop_token& cancelled) {
    return MailStream::open(server, {.cancelled = cancelled});
  };
}

MailRoutes loggedInRoutes() {
  const auto passwords = std::make_shared<std::map<std::string, WipedText>>();
  return routesWith([passwords](const MailAccount& account) {
    const auto found = passwords->find(account.id);
    return (found != passwords->end() ? found : passwords->emplace(account.id, passwordOf(account)).first)
        ->second.view();
  });
}

MailRoutes loggedInRoutes(WipedText password) {
  return routesWith(
      [known = std::make_shared<WipedText>(std::move(password))](const MailAccount&) { return known->view(); });
}

std::string explained(const MailError& error, const MailAccount& account, const MailServer& server) {
  if (error.isOfDatabase())
    return fmt::format("The mail database can't be used: {}. See whether the disk is full; vesk doctor says more.",
                       error.databaseText());
  switch (error.kind()) {
    case MailError::Kind::wrongPassword:
      return fmt::format(
          "{} doesn't take the password of {}. Give it anew with vesk mail add {}; many providers want "
          "an app password, not your main one.",
          hostAndPort(server), userOf(account), account.address);
    case MailError::Kind::insecureServer:
      return fmt::format(
          "{} was not given the password of {}: it doesn't encrypt, or its certificate isn't valid for "
          "that name and trusted here. Look at the name and at this computer's clock, or ask who runs "
          "the server.",
          hostAndPort(server), account.address);
    case MailError::Kind::cantConnect:
      return fmt::format("{} can't be reached. Look at the network and at the name of the server.",
                         hostAndPort(server));
    case MailError::Kind::timedOut:
    case MailError::Kind::closed: return fmt::format("{} ({})", error.what(), hostAndPort(server));
    default: return error.what();
  }
}

std::string hostAndPort(const MailServer& server) {
  const bool isIPv6 = server.host.find(':') != std::string::npos;
  return isIPv6 ? fmt::format("[{}]:{}", server.host, server.port) : fmt::format("{}:{}", server.host, server.port);
}

}  // namespace vesk::app
