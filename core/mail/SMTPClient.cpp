#include "core/mail/SMTPClient.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string.h>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Base64.h"
#include "core/base/Text.h"
#include "core/mail/MailError.h"
#include "core/mail/Recipients.h"
#include "core/mail/WipedText.h"

namespace vesk {

namespace {

// The program's own name is nobody's business, and that of the machine neither.
constexpr std::string_view greeting = "EHLO [127.0.0.1]";

constexpr int authenticationNeedsEncryption = 538;  // these: RFC 4954, 6
constexpr int authenticationFailed = 535;
constexpr int authenticationTooWeak = 534;  // that an app password is needed, too

// In base64, ready to be sent.
WipedText encoded(std::string_view secret) {
  std::string letters = base64::encoded(secret);
  WipedText text;
  text.append(letters);
  ::explicit_bzero(letters.data(), letters.size());
  return text;
}

// What PLAIN sends (RFC 4616).
WipedText plainSecret(std::string_view username, std::string_view password) {
  constexpr std::string_view separator("\0", 1);
  WipedText secret;
  for (const std::string_view piece : {separator, username, separator, password}) secret.append(piece);
  return encoded(secret.view());
}

// Whether a reply repeats a secret, or its beginning.
bool tells(const SMTPReply& reply, std::string_view secret) {
  constexpr std::size_t telling = 6;
  return !secret.empty() && text::contains(reply.text(), secret.substr(0, telling));
}

// For what was answered with a reply that says no.
MailError failure(const SMTPReply& reply) {
  const std::string text = reply.text();
  return MailError::refused(reply.isTemporary() ? fmt::format("{} (Try again later.)", text) : text);
}

std::string upper(std::string_view text) {
  std::string letters(text);
  for (char& c : letters) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return letters;
}

// The limit that a server gives with SIZE; nullopt when it sets none (RFC 1870, 4).
std::optional<std::uint64_t> sizeLimit(std::string_view parameter) {
  std::uint64_t limit = 0;
  const auto read = std::from_chars(parameter.data(), parameter.data() + parameter.size(), limit);
  return read.ec == std::errc() && limit > 0 ? std::optional(limit) : std::nullopt;
}

std::string megabytes(std::uint64_t bytes) { return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6); }

std::string_view headerOf(std::string_view message) { return message.substr(0, message.find("\r\n\r\n")); }

// Whether a server has to know of UTF-8 beyond the body (RFC 6531).
bool needsUTF8(const OutgoingMessage& message) {
  return !text::isAscii(message.sender) || !text::isAscii(headerOf(message.text)) ||
         !std::ranges::all_of(message.recipients, text::isAscii);
}

// The text as it goes out after DATA (RFC 5321, 4.5.2), but for the line that ends it: each line with CRLF, and a
// second dot before one that begins with a dot. A lone CR or LF is a line break for some servers: it is made one for
// all of them.
std::string stuffed(std::string_view message) {
  std::string wire;
  wire.reserve(message.size() + message.size() / 50 + 2);
  while (!message.empty()) {
    const std::size_t end = std::min(message.find_first_of("\r\n"), message.size());
    if (message.front() == '.') wire += '.';
    wire += message.substr(0, end);
    wire += "\r\n";
    message.remove_prefix(end);
    message.remove_prefix(message.starts_with("\r\n") ? 2 : std::min<std::size_t>(message.size(), 1));
  }
  return wire;
}

}  // namespace

SMTPClient::SMTPClient(std::unique_ptr<MailConnection> connection, const SMTPLimits& limits)
    : dialogue_(std::move(connection), limits) {}

// ---- Login

void SMTPClient::start(std::string_view username, std::string_view password, MailSecurity security) {
  greet();
  askCapabilities();
  if (security == MailSecurity::startTLS) upgrade();
  if (!dialogue_.isPrivate()) dialogue_.drop(MailError::insecureServer());
  logIn(username, password);
}

void SMTPClient::greet() {
  const SMTPReply reply = dialogue_.reply();
  if (!reply.isOK()) dialogue_.drop(failure(reply));
}

void SMTPClient::askCapabilities() {
  const SMTPReply reply = dialogue_.command(greeting);
  if (!reply.isOK()) dialogue_.drop(failure(reply));
  capabilities_.clear();
  for (std::size_t i = 1; i < reply.lines.size(); ++i) {  // the first names the server
    const std::string_view line = reply.lines[i];
    const std::size_t end = std::min(line.find_first_of(" ="), line.size());  // "AUTH=" was written once
    const std::string_view parameters = line.substr(std::min(end + 1, line.size()));
    std::string& known = capabilities_[upper(line.substr(0, end))];
    known += ' ' + upper(parameters);
  }
}

// Nothing that was said before TLS is believed: it may come from anyone on the way.
void SMTPClient::upgrade() {
  if (!can("STARTTLS") || !dialogue_.command("STARTTLS").isOK()) dialogue_.drop(MailError::insecureServer());
  dialogue_.startTLS();
  askCapabilities();
}

void SMTPClient::logIn(std::string_view username, std::string_view password) {
  if (username.find('\0') != std::string_view::npos || password.find('\0') != std::string_view::npos)
    throw MailError::refused("names and passwords can't hold a NUL character.");
  const auto mechanisms = text::split(can("AUTH") ? std::string_view(capabilities_.at("AUTH")) : "", ' ');
  const auto offers = [&](std::string_view name) { return std::ranges::find(mechanisms, name) != mechanisms.end(); };
  if (!offers("PLAIN") && !offers("LOGIN")) throw MailError::refused("it offers no login by password.");
  const SMTPReply reply = offers("PLAIN") ? logInPlain(username, password) : logInByQuestions(username, password);
  if (reply.isOK()) return;
  if (reply.code == authenticationFailed || reply.code == authenticationTooWeak) throw MailError::wrongPassword();
  if (reply.code == authenticationNeedsEncryption) throw MailError::insecureServer();
  // Some servers repeat what they don't understand.
  const bool tellsSecret = tells(reply, password) || tells(reply, encoded(password).view()) ||
                           tells(reply, plainSecret(username, password).view());
  throw tellsSecret ? MailError::refused("the login.") : failure(reply);
}

SMTPReply SMTPClient::logInPlain(std::string_view username, std::string_view password) {
  const WipedText letters = plainSecret(username, password);
  constexpr std::size_t longestInCommand = 490;  // a command has 512 bytes, with its line break (RFC 5321, 4.5.3.1)
  if (letters.view().size() > longestInCommand) {
    const SMTPReply reply = dialogue_.command("AUTH PLAIN");
    return reply.asksForMore() ? dialogue_.command(letters.view()) : reply;
  }
  WipedText command;
  command.append("AUTH PLAIN ");
  command.append(letters.view());
  return dialogue_.command(command.view());
}

// LOGIN has no standard: the server asks for the name and for the password, in words that mean nothing.
SMTPReply SMTPClient::logInByQuestions(std::string_view username, std::string_view password) {
  SMTPReply reply = dialogue_.command("AUTH LOGIN");
  for (const std::string_view answer : {username, password})
    if (reply.asksForMore()) reply = dialogue_.command(encoded(answer).view());
  return reply;
}

// ---- Mail

void SMTPClient::send(const OutgoingMessage& message, const std::function<void()>& beforeEnd) {
  announce(message);
  const SMTPReply asked = dialogue_.command("DATA");
  if (!asked.asksForMore()) giveUp(failure(asked));
  dialogue_.send(stuffed(message.text));
  try {
    if (beforeEnd) beforeEnd();
  } catch (...) {
    dialogue_.abandon();  // the only way to take it back
    throw;
  }
  const SMTPReply reply = end();
  if (!reply.isOK()) throw failure(reply);
}

// The line that ends the mail. From its first byte on the server may have it.
SMTPReply SMTPClient::end() {
  try {
    dialogue_.send(".\r\n");
    return dialogue_.reply(dialogue_.limits().acceptance);
  } catch (...) {  // whatever it is
    throw MaybeSentError();
  }
}

// Says who sends the mail and who gets it.
void SMTPClient::announce(const OutgoingMessage& message) {
  const SMTPReply reply = dialogue_.command(mailCommand(message));
  if (!reply.isOK()) giveUp(failure(reply));
  addRecipients(message);
}

std::string SMTPClient::mailCommand(const OutgoingMessage& message) const {
  if (!recipients::isAddress(message.sender)) throw Error("The sender's address isn't an email address.");
  std::string command = fmt::format("MAIL FROM:<{}>", message.sender);
  const bool isUTF8 = needsUTF8(message);
  if (isUTF8 && !can("SMTPUTF8"))
    throw Error("The mail server can't send to or from addresses with other than plain ASCII letters.");
  if (!text::isAscii(message.text) && !can("8BITMIME"))
    throw Error("The mail server can't send a text with other than plain ASCII letters.");
  if (can("SIZE")) {
    const std::uint64_t size = message.text.size();
    const auto limit = sizeLimit(text::trimSpaces(capabilities_.at("SIZE")));
    if (limit && size > *limit)
      throw Error(
          fmt::format("The mail has {}, and the mail server takes {} at most.", megabytes(size), megabytes(*limit)));
    command += fmt::format(" SIZE={}", size);
  }
  if (!text::isAscii(message.text)) command += " BODY=8BITMIME";
  if (isUTF8) command += " SMTPUTF8";
  return command;
}

void SMTPClient::addRecipients(const OutgoingMessage& message) {
  constexpr std::size_t mostNamed = 20;
  std::vector<std::string> refused;
  std::size_t more = 0;
  bool isTemporary = true;
  for (const std::string& recipient : message.recipients) {
    if (!recipients::isAddress(recipient)) giveUp(Error(fmt::format("\"{}\" isn't an email address.", recipient)));
    const SMTPReply reply = dialogue_.command(fmt::format("RCPT TO:<{}>", recipient));
    if (reply.isOK()) continue;
    isTemporary = isTemporary && reply.isTemporary();
    if (refused.size() < mostNamed)
      refused.push_back(fmt::format("{} ({})", recipient, reply.text()));
    else
      ++more;
  }
  if (refused.empty()) return;
  if (more > 0) refused.push_back(fmt::format("{} more", more));
  giveUp(MailError::refused(fmt::format("to send to {}. Nothing was sent{}.", text::join(refused, ", "),
                                        isTemporary ? "; try again later" : "")));
}

// Leaves the connection fit for another mail, where that can be.
template <typename Failure>
void SMTPClient::giveUp(const Failure& error) {
  try {
    dialogue_.command("RSET");
  } catch (const MailError&) {
    // What went wrong before is what the user wants to know.
  }
  throw error;
}

}  // namespace vesk
