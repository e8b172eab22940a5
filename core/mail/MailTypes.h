#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Time.h"
#include "core/mail/MailAddress.h"
#include "core/mail/MailFolderRole.h"
#include "core/mail/MailServer.h"
#include "core/mail/ParsedMail.h"

namespace vesk {

// An account the user reads mail of. Its password is in the desktop's secret service, never here.
struct MailAccount {
  std::string id = {};
  std::string address = {};  // "ana@example.org"
  std::string name = {};     // the person's, as mails they send will carry it
  std::string user = {};     // what the servers know them by
  MailServer incoming = {};  // IMAP
  MailServer outgoing = {};  // SMTP
  bool operator==(const MailAccount&) const = default;
};

// A folder on the server.
struct MailFolder {
  std::string accountID = {};
  std::string path = {};  // as the server names it, and wants it named
  std::string name = {};  // as people read it
  MailFolderRole role = MailFolderRole::other;
  std::size_t unread = 0;  // messages stored of it that are unread
  bool operator==(const MailFolder&) const = default;
};

// A message in a list.
struct MailSummary {
  std::int64_t id = 0;  // the store's own, by which everything above it knows the message
  std::string accountID = {};
  std::string folder = {};  // its path
  std::uint32_t uid = 0;    // the server's number of it in that folder
  std::string messageID = {};
  std::string subject = {};
  MailAddress from = {};         // empty when it tells none
  Timestamp date = distantPast;  // distantPast when it has none
  std::string snippet = {};      // its beginning, one line
  bool isRead = false;
  bool isFlagged = false;
  bool hasAttachments = false;
  bool operator==(const MailSummary&) const = default;
};

// All of a message that is stored.
struct MailDetail {
  MailSummary summary = {};
  std::vector<MailAddress> to = {};
  std::vector<MailAddress> cc = {};
  std::vector<MailAddress> replyTo = {};
  std::string text = {};
  std::string html = {};
  std::vector<MailAttachment> attachments = {};
  std::string inReplyTo = {};
  std::string references = {};
  bool operator==(const MailDetail&) const = default;
};

// Which messages are wanted: those that meet every condition given.
struct MailQuery {
  std::optional<std::string> accountID = {};
  std::optional<std::string> folder = {};  // its path
  std::optional<MailFolderRole> role = {};
  bool unreadOnly = false;
  std::string words = {};  // each is the beginning of a word in the subject, the sender or the text, in any order
  std::size_t limit = 50;
  std::size_t offset = 0;
};

// A message as it was fetched.
struct MailRecord {
  std::uint32_t uid = 0;
  bool isRead = false;
  bool isFlagged = false;
  ParsedMail mail = {};
};

// What the server says of a message that is stored already.
struct MailFlags {
  std::uint32_t uid = 0;
  bool isRead = false;
  bool isFlagged = false;
};

// A mail that isn't sent yet.
struct MailDraft {
  std::string id = {};
  std::string accountID = {};
  std::vector<MailAddress> to = {};
  std::vector<MailAddress> cc = {};
  std::vector<MailAddress> bcc = {};
  std::string subject = {};
  std::string body = {};       // plain text
  std::string inReplyTo = {};  // the threading headers of a reply
  std::string references = {};
  bool byAI = false;  // written by an assistant
  Timestamp updated = distantPast;
  bool operator==(const MailDraft&) const = default;
};

// A draft that goes out: its mail has been, or is about to be, with the server in whole.
struct OutboxMail {
  MailDraft draft = {};  // as it was sent
  std::string messageID = {};
  std::string text = {};  // the mail (RFC 5322)
  Timestamp begun = distantPast;
  bool isSent = false;  // the server said so; without it, nobody knows
  bool operator==(const OutboxMail&) const = default;
};

// What the user, or an assistant, did to a message, and the server is still to be told.
struct MailChange {
  enum class Kind { read, flagged, move };

  std::string accountID = {};
  std::string folder = {};                // the path of the folder it is in on the server
  std::optional<std::uint32_t> uid = {};  // its number there, when that is known
  std::string messageID = {};
  Kind kind = Kind::read;
  bool isOn = false;                           // of read and flagged
  std::optional<MailFolderRole> target = {};   // of move
  std::optional<std::string> targetPath = {};  // likewise, where it is one folder in particular
  bool operator==(const MailChange&) const = default;
};

}  // namespace vesk
