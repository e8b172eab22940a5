#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/mail/IMAPCommand.h"
#include "core/mail/IMAPLimits.h"
#include "core/mail/IMAPValue.h"
#include "core/mail/MailBuffer.h"
#include "core/mail/MailConnection.h"

namespace vesk {

// What an IMAP server says to a command: everything up to the line that begins with the command's tag.
struct IMAPAnswer {
  std::vector<IMAPResponse> untagged = {};
  bool isOK = false;
  std::string text = {};  // what follows OK, NO or BAD
};

// What else may end a wait for the server.
struct IMAPInterrupt {
  std::function<bool()> isDue = {};                           // empty: nothing may
  std::chrono::milliseconds every = std::chrono::seconds(1);  // it is asked
};

// Commands there and answers back, over one connection. Knows how IMAP is written, and nothing of what it is about.
// Throws MailError when there is no answer, or none within the limits; the connection is closed then.
class IMAPDialogue {
 public:
  using Clock = std::chrono::steady_clock;

  IMAPDialogue(std::unique_ptr<MailConnection> connection, const IMAPLimits& limits)
      : connection_(std::move(connection)), limits_(limits) {}

  const IMAPLimits& limits() const { return limits_; }
  bool isPrivate() const { return connection_->isPrivate(); }
  bool isOpen() const { return isOpen_; }

  // The next response, whatever it is.
  IMAPResponse response();

  // With the next tag: "V1", "V2", …
  IMAPCommand command(std::string_view text);

  // Sends the command and waits for the end of its answer, be it OK or not.
  IMAPAnswer answer(const IMAPCommand& command);

  // Sends IDLE (RFC 2177) and ends it when a response tells of a change, at the deadline at the latest.
  IMAPAnswer idle(Clock::time_point deadline, const IMAPInterrupt& interrupt = {});

  // True when the server has said something that wasn't read yet; waits for that until the deadline.
  bool waitForBytes(Clock::time_point deadline);
  bool waitForBytes(Clock::time_point deadline, const IMAPInterrupt& interrupt);

  // Turns the connection to TLS. insecureServer when the server has said more than was read.
  void startTLS();

  // Takes its leave.
  void close() noexcept;

  // The connection is closed, should that throw.
  template <typename Action>
  decltype(auto) guarded(Action action) {
    try {
      return action();
    } catch (...) {
      shut();
      throw;
    }
  }
  [[noreturn]] void drop(const MailError& error);

 private:
  enum class Sort { untagged, continuation, status, other };

  Sort readInto(IMAPAnswer& answer, const std::string& tag);
  bool isAskedForMore(IMAPAnswer& answer, const std::string& tag);
  std::string_view line();
  std::string literal(std::size_t size);
  void charge(std::size_t bytes);
  std::size_t receive(std::chrono::milliseconds timeout);
  void receiveInTime();
  void sendLine(std::string_view text);
  void send(std::string_view bytes);
  void shut() noexcept;

  std::unique_ptr<MailConnection> connection_;
  const IMAPLimits limits_;
  MailBuffer buffer_;
  bool isOpen_ = true;
  unsigned counter_ = 0;        // of commands
  std::size_t charged_ = 0;     // of limits_.answer, by the current command
  Clock::time_point deadline_;  // of the response that is being read
};

}  // namespace vesk
