#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/MailServer.h"

// Where the mail of an address is, as far as it is known by its domain.
namespace vesk::mailPresets {

struct Preset {
  std::string provider = {};      // "Gmail"
  MailServer incoming = {};       // IMAP
  MailServer outgoing = {};       // SMTP
  std::string user = {};          // what the servers know the user by
  std::string passwordHint = {};  // a sentence on what password to give; "" when it is the account's own
  bool operator==(const Preset&) const = default;
};

// Nullopt for a domain that isn't known.
std::optional<Preset> of(std::string_view address);

// The servers to be tried for an address of another domain, the likeliest first.
std::vector<MailServer> likelyIncoming(std::string_view address);
std::vector<MailServer> likelyOutgoing(std::string_view address);

// Whether that server puts what it sends into the folder of sent mail by itself.
bool filesSentMail(const MailServer& outgoing);

}  // namespace vesk::mailPresets
