#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/IMAPValue.h"
#include "core/mail/MailFolderRole.h"

namespace vesk {

// A folder of the server.
struct IMAPFolder {
  std::string path = {};  // as the server sends it, and as every command wants it
  std::string name = {};  // its last component, for people
  MailFolderRole role = MailFolderRole::other;
  bool operator==(const IMAPFolder&) const = default;
};

// What the server says of a folder when it is opened; zero for what it leaves out.
struct IMAPSelection {
  std::size_t exists = 0;         // messages
  std::uint32_t uidValidity = 0;  // UIDs mean the same messages as long as it is the same
  std::uint32_t uidNext = 0;
  bool operator==(const IMAPSelection&) const = default;
};

// What the server says of a message.
struct IMAPMessage {
  std::uint32_t uid = 0;
  std::vector<std::string> flags = {};   // as sent
  std::optional<std::string> body = {};  // the whole message, or what was asked for of it
  std::optional<std::size_t> size = {};  // bytes of the whole message, when that was asked for
  bool operator==(const IMAPMessage&) const = default;

  bool isRead() const;
  bool isFlagged() const;
};

// Reads the untagged responses of a server. What isn't of the kind that a function looks for is passed over, as servers
// may send anything at any time.
namespace imap {

// The upper-cased words of CAPABILITY responses.
std::set<std::string> capabilities(const std::vector<IMAPResponse>& responses);

// Those that can be opened.
std::vector<IMAPFolder> folders(std::vector<IMAPResponse>&& responses, const IMAPLimits& limits);

IMAPSelection selection(const std::vector<IMAPResponse>& responses);

// The numbers of SEARCH responses.
std::vector<std::uint32_t> found(const std::vector<IMAPResponse>& responses);

// Those of FETCH responses that tell their UID.
std::vector<IMAPMessage> messages(std::vector<IMAPResponse>&& responses, const IMAPLimits& limits);

// True when one of them is EXISTS or EXPUNGE.
bool tellComingOrGoing(const std::vector<IMAPResponse>& responses);

// True when one of them is EXISTS, EXPUNGE or FETCH.
bool tellChange(const std::vector<IMAPResponse>& responses);

}  // namespace imap

}  // namespace vesk
