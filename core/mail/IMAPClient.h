#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/mail/IMAPAnswers.h"
#include "core/mail/IMAPDialogue.h"
#include "core/mail/IMAPLimits.h"
#include "core/mail/MailConnection.h"
#include "core/mail/MailServer.h"

namespace vesk {

// Reads and changes a mail account over IMAP4rev1 (RFC 3501), one command after the other.
//
// start() comes first, and select() before what takes UIDs. Every call blocks until the server has answered, and throws
// MailError: refused or wrongPassword when the server says no; after any other the connection is closed. One thread at
// a time uses it; how another one cancels its calls is the connection's matter (see MailStream).
class IMAPClient {
 public:
  explicit IMAPClient(std::unique_ptr<MailConnection> connection, const IMAPLimits& limits = {});

  // Waits for the greeting, turns to TLS where `security` asks for it, logs in, and asks what the server can do.
  // insecureServer when it can't do TLS, or others could read the password along.
  void start(std::string_view username, std::string_view password, MailSecurity security);

  // False once the connection is closed: no call succeeds any more.
  bool isOpen() const { return dialogue_.isOpen(); }

  // What the server can do, in upper case: "IDLE".
  const std::set<std::string>& capabilities() const { return capabilities_; }

  std::vector<IMAPFolder> folders();

  void create(std::string_view path);

  IMAPSelection select(std::string_view path, bool readOnly = false);

  // Of the messages that came on that day, in the server's time zone, or later.
  std::vector<std::uint32_t> uids(Day since);
  // `messageID` with its angle brackets, or a part of it.
  std::vector<std::uint32_t> uids(std::string_view messageID);

  // Of the messages that are still there. Many UIDs take several commands.
  std::vector<IMAPMessage> flags(const std::vector<std::uint32_t>& uids);

  // Of the messages in those places of the folder, of which select() has told the last one: they are counted from 1, by
  // ascending UID. At most 10,000 at once.
  std::vector<IMAPMessage> flags(std::size_t firstPlace, std::size_t lastPlace);

  std::vector<IMAPMessage> sizes(const std::vector<std::uint32_t>& uids);

  // With the header field Message-ID, as it stands there, for their body.
  std::vector<IMAPMessage> messageIDs(const std::vector<std::uint32_t>& uids);

  // With their text, which isn't marked as read by that, or the first `limit` bytes of it. What is asked for at once
  // has to fit IMAPLimits::answer.
  std::vector<IMAPMessage> bodies(const std::vector<std::uint32_t>& uids, std::optional<std::size_t> limit = {});

  // `flag` as in "\Seen".
  void setFlag(const std::string& flag, bool on, const std::vector<std::uint32_t>& uids);

  // On a server without MOVE and UIDPLUS, whatever else is marked as deleted in the folder goes as well.
  void move(const std::vector<std::uint32_t>& uids, std::string_view target);

  // For good. On a server without UIDPLUS, whatever else is marked as deleted in the folder goes as well.
  void remove(const std::vector<std::uint32_t>& uids);

  void append(std::string_view message, std::string_view folder, const std::vector<std::string>& flags);

  // True when messages came or went in the selected folder since select(). The server won't tell of it again.
  bool hasNews() const { return hasNews_; }

  // Waits for a change in the selected folder; on a server without IDLE, for two minutes at most. True when there was
  // one.
  bool idle(std::chrono::milliseconds time, const IMAPInterrupt& interrupt = {});

  // Takes its leave and closes the connection.
  void close() noexcept { dialogue_.close(); }

 private:
  void greet();
  void upgrade();
  void login(std::string_view username, std::string_view password);
  IMAPCommand command(std::string_view text) { return dialogue_.command(text); }
  IMAPAnswer answerTo(const IMAPCommand& command);
  std::vector<IMAPResponse> run(const IMAPCommand& command);  // throws the server's no
  void remove(const std::string& uidSet);
  std::vector<IMAPMessage> fetch(const std::vector<std::uint32_t>& uids, std::string_view items);
  std::vector<IMAPMessage> fetch(const IMAPCommand& command);

  IMAPDialogue dialogue_;
  std::set<std::string> capabilities_;
  bool hasNews_ = false;
};

}  // namespace vesk
