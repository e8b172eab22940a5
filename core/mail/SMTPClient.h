#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "core/base/Error.h"
#include "core/mail/MailConnection.h"
#include "core/mail/MailServer.h"
#include "core/mail/OutgoingMessage.h"
#include "core/mail/SMTPDialogue.h"

namespace vesk {

// The server had the whole mail and didn't say that it took it.
class MaybeSentError : public Error {
 public:
  MaybeSentError() : Error("The connection broke before the mail server said that it took the mail. It may be sent.") {}
};

// Hands mail to a server for submission (RFC 6409): SMTP (RFC 5321) with a login (RFC 4954).
//
// start() comes first. Every call blocks until the server has answered, and throws MailError: refused or wrongPassword
// when the server says no; after any other the connection is closed. One thread at a time uses it; how another one
// cancels its calls is the connection's matter (see MailStream).
class SMTPClient {
 public:
  explicit SMTPClient(std::unique_ptr<MailConnection> connection, const SMTPLimits& limits = {});

  // Waits for the greeting, asks what the server can do, turns to TLS where `security` asks for it, and logs in.
  // insecureServer when it can't do TLS, or others could read the password along.
  void start(std::string_view username, std::string_view password, MailSecurity security);

  // Hands over one mail, to all of its recipients or to none. `beforeEnd` is called once nothing is missing but the
  // line that ends the mail: only after that line the server may send it, and what `beforeEnd` throws prevents it.
  //
  // When it throws anything but MaybeSentError, the mail was not sent: all recipients that the server doesn't take are
  // named, and Error is thrown for a mail that the server can't carry. What the mail's text has for line breaks is sent
  // as CRLF.
  void send(const OutgoingMessage& message, const std::function<void()>& beforeEnd = {});

  // Takes its leave and closes the connection.
  void close() noexcept { dialogue_.close(); }

 private:
  void greet();
  void askCapabilities();
  void upgrade();
  void logIn(std::string_view username, std::string_view password);
  SMTPReply logInPlain(std::string_view username, std::string_view password);
  SMTPReply logInByQuestions(std::string_view username, std::string_view password);
  bool can(std::string_view keyword) const { return capabilities_.contains(keyword); }
  void announce(const OutgoingMessage& message);
  std::string mailCommand(const OutgoingMessage& message) const;
  void addRecipients(const OutgoingMessage& message);
  SMTPReply end();
  template <typename Failure>
  [[noreturn]] void giveUp(const Failure& error);

  SMTPDialogue dialogue_;
  std::map<std::string, std::string, std::less<>> capabilities_;  // keywords in upper case, and what follows them
};

}  // namespace vesk
