#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "core/mail/MailServer.h"
#include "core/mail/MailTypes.h"

// The servers that an account may have: typed, and tried.
namespace vesk::app {

using MailServers = std::vector<MailServer>;

struct MailPorts {
  std::uint16_t tls = 0;
  std::uint16_t startTLS = 0;
};
inline constexpr MailPorts imapPorts = {993, 143};
inline constexpr MailPorts smtpPorts = {465, 587};

// The ways to reach a server that was typed as HOST or HOST:PORT: as its security ("tls", "starttls", "none", or "")
// and its port say, or else either way. Throws Error for what is no server.
MailServers serversNamed(std::string_view typed, std::string_view security, const MailPorts& ports);

// The first of the servers that `logIn` doesn't throw MailError for. Says what is tried. Throws Error, with the reason
// that tells most, when there is none; the first that refuses the password is the last one it is given to.
MailServer firstThatWorks(const MailServers& servers, const MailAccount& account,
                          const std::function<void(const MailServer&)>& logIn);

}  // namespace vesk::app
