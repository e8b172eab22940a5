#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/mail/MailBuffer.h"
#include "core/mail/MailConnection.h"
#include "core/mail/MailError.h"

namespace vesk {

// What a mail server may ask of this program's patience and memory when mail is sent. RFC 5321 gives servers minutes
// (4.5.3.2); the user waits for all of it, so that only the end gets them: giving up there leaves open what happened.
struct SMTPLimits {
  std::chrono::milliseconds silence = std::chrono::seconds(60);     // for a reply
  std::chrono::milliseconds acceptance = std::chrono::minutes(10);  // for the one at the mail's end
  std::size_t line = 4096;                                          // bytes of a reply's line; RFC 5321 has 512
  std::size_t lines = 200;                                          // of a reply
};

// What a server says to a command (RFC 5321, 4.2).
struct SMTPReply {
  int code = 0;                         // from 200 to 599
  std::vector<std::string> lines = {};  // what follows the code

  bool isOK() const { return code / 100 == 2; }
  bool asksForMore() const { return code / 100 == 3; }
  bool isTemporary() const { return code / 100 == 4; }  // it failed, and may not the next time
  std::string text() const;                             // in one line, fit to be shown
};

// Commands there and replies back, over one connection. Knows how SMTP is written, and nothing of what it is about.
// Throws MailError when there is no reply, or none within the limits; the connection is closed then.
class SMTPDialogue {
 public:
  SMTPDialogue(std::unique_ptr<MailConnection> connection, const SMTPLimits& limits)
      : connection_(std::move(connection)), limits_(limits) {}

  bool isPrivate() const { return connection_->isPrivate(); }
  const SMTPLimits& limits() const { return limits_; }

  // The next reply, whatever it says.
  SMTPReply reply() { return reply(limits_.silence); }
  SMTPReply reply(std::chrono::milliseconds patience);

  // Sends a line and waits for its reply. It has no line breaks.
  SMTPReply command(std::string_view line);

  // Sends bytes as they are.
  void send(std::string_view bytes);

  // Turns the connection to TLS. insecureServer when the server has said more than was read.
  void startTLS();

  // Takes its leave.
  void close() noexcept;

  // The connection is closed without a word.
  void abandon() noexcept { connection_->close(); }
  [[noreturn]] void drop(const MailError& error);

 private:
  using Clock = std::chrono::steady_clock;

  std::string_view line(Clock::time_point deadline);
  void receive(Clock::time_point deadline);

  std::unique_ptr<MailConnection> connection_;
  const SMTPLimits limits_;
  MailBuffer buffer_;
};

}  // namespace vesk
