#include "core/mail/SMTPDialogue.h"

#include <algorithm>
#include <exception>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/mail/ServerText.h"
#include "core/mail/WipedText.h"

namespace vesk {

namespace {

MailError unreadable() { return MailError::refused("its reply is none that Vesk reads."); }

// A line of a reply: "250-SIZE 1000000", or with a space when it is the last. False when it is none, or of another
// reply than the lines before it.
bool add(SMTPReply& reply, std::string_view line) {
  constexpr std::size_t digits = 3;
  if (line.size() < digits || !std::all_of(line.begin(), line.begin() + digits, ascii::isDigit)) return false;
  const int code = 100 * (line[0] - '0') + 10 * (line[1] - '0') + (line[2] - '0');
  const bool isCode = code >= 200 && code < 600 && (reply.lines.empty() || code == reply.code);
  if (!isCode || (line.size() > digits && line[digits] != ' ' && line[digits] != '-')) return false;
  reply.code = code;
  reply.lines.emplace_back(line.substr(std::min(line.size(), digits + 1)));
  return true;
}

bool isLast(std::string_view line) { return line.size() <= 3 || line[3] != '-'; }

}  // namespace

std::string SMTPReply::text() const {
  const std::string said = shownServerText(text::join(lines, " "));
  return said.empty() ? "it gives no reason." : said;
}

SMTPReply SMTPDialogue::reply(std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  SMTPReply reply;
  while (true) {
    const std::string_view line = this->line(deadline);
    if (reply.lines.size() == limits_.lines || !add(reply, line)) drop(unreadable());
    if (isLast(line)) break;
  }
  return reply;
}

SMTPReply SMTPDialogue::command(std::string_view line) {
  WipedText bytes;
  bytes.append(line);
  bytes.append("\r\n");
  send(bytes.view());
  return reply();
}

void SMTPDialogue::send(std::string_view bytes) {
  try {
    connection_->send(bytes);
  } catch (...) {
    connection_->close();
    throw;
  }
}

// The next line, without its CRLF.
std::string_view SMTPDialogue::line(Clock::time_point deadline) {
  while (true) {
    const auto line = buffer_.takeLine();
    if ((line ? line->size() : buffer_.size()) > limits_.line) drop(unreadable());
    if (line) return line->substr(0, line->size() - 2);
    receive(deadline);
  }
}

void SMTPDialogue::receive(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) drop(MailError::timedOut());
  try {
    const auto bytes = connection_->receive(left);
    if (!bytes) throw MailError::closed();
    buffer_.append(*bytes);
  } catch (...) {
    connection_->close();
    throw;
  }
}

// What came behind the reply may be from anyone on the way, and would be taken for what the server says later.
void SMTPDialogue::startTLS() {
  if (!buffer_.isEmpty()) drop(MailError::insecureServer());
  try {
    connection_->startTLS();
  } catch (...) {
    connection_->close();
    throw;
  }
}

void SMTPDialogue::close() noexcept {
  try {
    connection_->send("QUIT\r\n");
  } catch (const std::exception&) {
    // The connection is gone already.
  }
  connection_->close();
}

void SMTPDialogue::drop(const MailError& error) {
  connection_->close();
  throw error;
}

}  // namespace vesk
