#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

// How a connection to a mail server is kept private.
enum class MailSecurity {
  tls,       // from the first byte
  startTLS,  // a plain connection is made one of TLS before anything is said
  none,      // for servers on this very machine only
};

// As it is stored: "startTLS".
inline std::string_view name(MailSecurity security) {
  return security == MailSecurity::tls ? "tls" : security == MailSecurity::startTLS ? "startTLS" : "none";
}

inline std::optional<MailSecurity> mailSecurityNamed(std::string_view text) {
  for (const MailSecurity each : {MailSecurity::tls, MailSecurity::startTLS, MailSecurity::none})
    if (name(each) == text) return each;
  return std::nullopt;
}

struct MailServer {
  std::string host = {};  // a name, or an address of IPv4 or IPv6
  std::uint16_t port = 0;
  MailSecurity security = MailSecurity::tls;
  bool operator==(const MailServer&) const = default;
};

}  // namespace vesk
